#include "Util/WindowManager.h"

#include "Util/Console.h"
#include "Util/Logging.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {

using Platform::RunningApplication;

std::optional<RunningApplication> findRunning(
    const QList<RunningApplication>& applications, const QString& bundleIdentifier)
{
    for (const RunningApplication& application : applications) {
        if (application.bundleIdentifier == bundleIdentifier)
            return application;
    }
    return std::nullopt;
}

// The page that explains why windows cannot be controlled: installed beside the executable
// (PREFIX/bin/vantor -> PREFIX/share/doc/Vantor/), or in the source tree of a build.
QString windowControlHelpPage()
{
    static const QLatin1String page("window-control.md");
    const QDir binary(QCoreApplication::applicationDirPath());
    const QString sourceTree
        = QFileInfo(QStringLiteral(__FILE__)).absolutePath() + QStringLiteral("/../../docs");
    for (const QString& folder : {binary.filePath(QStringLiteral("../share/doc/Vantor")),
             binary.filePath(QStringLiteral("../share/doc/vantor")), sourceTree}) {
        const QFileInfo candidate(QDir(folder).filePath(page));
        if (candidate.isFile())
            return candidate.canonicalFilePath();
    }
    return {};
}

} // namespace

void WindowManager::openApp(const AppInfoPtr& app) const
{
    const std::optional<QString> bundleIdentifier = app->bundleIdentifier();
    if (!bundleIdentifier)
        return;
    const auto running = findRunning(m_applications.runningApplications(), *bundleIdentifier);
    if (running) {
        Console::print(QStringLiteral("App is already running: ")
            + running->localizedName.value_or(QStringLiteral("Unknown")));
        if (const AppLayoutPtr layout = app->currentLayout(mainScreenSize()))
            setWindowPosition(running->processIdentifier, layout->position(), layout->size());
        return;
    }
    const std::optional<QString> path = m_applications.applicationPath(*bundleIdentifier);
    if (!path) {
        Console::print(
            QStringLiteral("Failed to find app with bundle identifier: ") + *bundleIdentifier);
        return;
    }
    // The completion may outlive this manager, not the desktop services, which live as long
    // as the process.
    m_applications.launch(*path,
        [&windowSystem = m_windowSystem, &applications = m_applications, app,
            identifier = *bundleIdentifier](
            std::optional<RunningApplication> launched, std::optional<QString> error) {
            if (error) {
                Console::print(QStringLiteral("Failed to launch app with bundle identifier ")
                    + identifier + QStringLiteral(": ") + *error);
                return;
            }
            Console::print(
                QStringLiteral("App launched successfully with bundle identifier: ") + identifier);
            if (!launched)
                return;
            const WindowManager manager(windowSystem, applications);
            if (const AppLayoutPtr layout = app->currentLayout(manager.mainScreenSize()))
                manager.setWindowPosition(
                    launched->processIdentifier, layout->position(), layout->size());
        });
}

void WindowManager::openApps(const QList<AppInfoPtr>& apps) const
{
    for (const AppInfoPtr& app : apps)
        openApp(app);
}

bool WindowManager::checkAccessibilityTrust() const
{
    if (m_windowSystem.canControlWindows()) {
        Console::print(QStringLiteral("Accessibility permissions are granted."));
        return true;
    }
    Console::print(QStringLiteral("Accessibility permissions are not granted."));
    const QString page = windowControlHelpPage();
    if (page.isEmpty())
        qCWarning(lcApps) << "The help page on window control is not installed";
    else
        m_applications.open(QUrl::fromLocalFile(page));
    return false;
}
