#include "Util/WindowManager.h"

#include "Util/Console.h"
#include "Util/Logging.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QMultiHash>

namespace {

using Platform::LaunchResult;
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

AppOutcome outcomeOf(AppOutcome::State state, bool placed = false,
    std::optional<Platform::ProcessId> pid = std::nullopt, QString error = {})
{
    return AppOutcome{state, placed, pid, std::move(error)};
}

} // namespace

// A launch whose window has not come yet, and the later activations waiting on it.
struct WindowManager::PendingLaunch {
    const Activation* activation = nullptr;
    QList<std::pair<ActivationPtr, qsizetype>> joiners; // an app of a later activation each
};

struct WindowManager::Launches {
    LaunchSettings settings;
    QMultiHash<QString, std::shared_ptr<PendingLaunch>> byBundleIdentifier;
};

WindowManager::WindowManager(
    Platform::WindowSystem& windowSystem, Platform::Applications& applications)
    : m_windowSystem(windowSystem),
      m_applications(applications),
      m_launches(std::make_shared<Launches>())
{
}

const LaunchSettings& WindowManager::launchSettings() const
{
    return m_launches->settings;
}

void WindowManager::setLaunchSettings(const LaunchSettings& settings) const
{
    m_launches->settings = settings;
}

// A running app of an activation, to be placed with the others in one batch.
struct WindowManager::RunningPlacement {
    qsizetype index = 0;
    Platform::ProcessId pid = 0;
    Frame frame;
};

void WindowManager::openApp(const AppInfoPtr& app) const
{
    openAppsFor(std::make_shared<Activation>(QList<AppInfoPtr>{app}));
}

ActivationPtr WindowManager::openApps(const QList<AppInfoPtr>& apps) const
{
    auto activation = std::make_shared<Activation>(apps);
    openAppsFor(activation);
    return activation;
}

void WindowManager::openAppsFor(const ActivationPtr& activation) const
{
    // The desktop is read once for the whole activation, and the running apps' windows are
    // placed together, so that every request goes out at once.
    const QList<RunningApplication> running = m_applications.runningApplications();
    QList<RunningPlacement> placements;
    for (qsizetype index = 0; index < activation->apps().size(); ++index)
        openApp(activation, index, running, placements);
    placeRunningApps(activation, placements);
}

void WindowManager::openApp(const ActivationPtr& activation, qsizetype index,
    const QList<RunningApplication>& running, QList<RunningPlacement>& placements) const
{
    const AppInfoPtr& app = activation->apps().at(index);
    const std::optional<QString> bundleIdentifier = app->bundleIdentifier();
    if (!bundleIdentifier) {
        activation->setOutcome(index, outcomeOf(AppOutcome::State::Skipped));
        return;
    }
    if (const auto found = findRunning(running, *bundleIdentifier)) {
        Console::print(QStringLiteral("App is already running: ")
            + found->localizedName.value_or(QStringLiteral("Unknown")));
        const Platform::ProcessId pid = found->processIdentifier;
        if (const AppLayoutPtr layout = app->currentLayout(mainScreenSize()))
            placements.append({index, pid, layout->frame()});
        else
            activation->setOutcome(index, outcomeOf(AppOutcome::State::AlreadyRunning, false, pid));
        return;
    }
    if (joinsEarlierLaunch(activation, index, *bundleIdentifier))
        return;
    const std::optional<QString> path = m_applications.applicationPath(*bundleIdentifier);
    if (!path) {
        Console::print(
            QStringLiteral("Failed to find app with bundle identifier: ") + *bundleIdentifier);
        activation->setOutcome(index, outcomeOf(AppOutcome::State::NotInstalled));
        return;
    }
    launch(activation, index, *path, *bundleIdentifier);
}

bool WindowManager::joinsEarlierLaunch(
    const ActivationPtr& activation, qsizetype index, const QString& bundleIdentifier) const
{
    // Two records of one app in the same activation are two launches, as they would be
    // without waiting for windows; a later activation waits for the launch under way.
    for (const auto& pending : m_launches->byBundleIdentifier.values(bundleIdentifier)) {
        if (pending->activation == activation.get())
            continue;
        activation->setLaunching(index);
        pending->joiners.append({activation, index});
        return true;
    }
    return false;
}

void WindowManager::launch(const ActivationPtr& activation, qsizetype index, const QString& path,
    const QString& bundleIdentifier) const
{
    activation->setLaunching(index);
    auto pending = std::make_shared<PendingLaunch>();
    pending->activation = activation.get();
    m_launches->byBundleIdentifier.insert(bundleIdentifier, pending);
    // The completion holds what it needs: it may outlive this manager, not the desktop
    // services, which live as long as the process.
    m_applications.launch(path, m_launches->settings.timeout,
        [manager = *this, activation, index, bundleIdentifier, pending](
            const LaunchResult& result) {
            manager.m_launches->byBundleIdentifier.remove(bundleIdentifier, pending);
            manager.completeLaunch(activation, index, bundleIdentifier, result);
            for (const auto& [joined, joinedIndex] : std::as_const(pending->joiners))
                manager.joinLaunch(joined, joinedIndex, result);
        });
}

void WindowManager::completeLaunch(const ActivationPtr& activation, qsizetype index,
    const QString& bundleIdentifier, const LaunchResult& result) const
{
    switch (result.outcome) {
    case LaunchResult::Outcome::Failed:
        Console::print(QStringLiteral("Failed to launch app with bundle identifier ")
            + bundleIdentifier + QStringLiteral(": ") + result.error);
        activation->setOutcome(
            index, outcomeOf(AppOutcome::State::Failed, false, std::nullopt, result.error));
        return;
    case LaunchResult::Outcome::TimedOut:
        Console::print(QStringLiteral("Timed out waiting for a window of ") + bundleIdentifier);
        activation->setOutcome(index, outcomeOf(AppOutcome::State::TimedOut));
        return;
    case LaunchResult::Outcome::Launched:
        break;
    }
    Console::print(
        QStringLiteral("App launched successfully with bundle identifier: ") + bundleIdentifier);
    std::optional<Platform::ProcessId> pid;
    bool placed = false;
    if (result.application) {
        pid = result.application->processIdentifier;
        placed = placeApp(*activation->apps().at(index), *pid, m_launches->settings.settleTime);
    }
    activation->setOutcome(index, outcomeOf(AppOutcome::State::Launched, placed, pid));
}

void WindowManager::joinLaunch(
    const ActivationPtr& activation, qsizetype index, const LaunchResult& result) const
{
    if (result.outcome != LaunchResult::Outcome::Launched || !result.application) {
        const auto state = result.outcome == LaunchResult::Outcome::TimedOut
            ? AppOutcome::State::TimedOut
            : AppOutcome::State::Failed;
        activation->setOutcome(index, outcomeOf(state, false, std::nullopt, result.error));
        return;
    }
    const RunningApplication& application = *result.application;
    Console::print(QStringLiteral("App is already running: ")
        + application.localizedName.value_or(QStringLiteral("Unknown")));
    const bool placed = placeApp(*activation->apps().at(index), application.processIdentifier,
        m_launches->settings.settleTime);
    activation->setOutcome(index,
        outcomeOf(AppOutcome::State::AlreadyRunning, placed, application.processIdentifier));
}

void WindowManager::placeRunningApps(
    const ActivationPtr& activation, const QList<RunningPlacement>& placements) const
{
    if (placements.isEmpty())
        return;
    QList<Platform::ProcessId> pids;
    for (const RunningPlacement& placement : placements)
        pids.append(placement.pid);
    const auto windows = m_windowSystem.windowsOfProcesses(pids, maxPlacedWindows);
    QList<Platform::WindowSystem::Placement> batch;
    for (qsizetype i = 0; i < placements.size(); ++i) {
        if (windows[i])
            batch.append({*windows[i], placements[i].frame});
        else
            Console::print(QStringLiteral("Could not retrieve windows for %1.").arg(pids[i]));
    }
    m_windowSystem.placeWindows(batch);
    for (qsizetype i = 0; i < placements.size(); ++i) {
        activation->setOutcome(placements[i].index,
            outcomeOf(AppOutcome::State::AlreadyRunning, windows[i].has_value(), pids[i]));
    }
}

bool WindowManager::placeApp(
    const AppInfo& app, Platform::ProcessId pid, std::chrono::milliseconds holdFor) const
{
    const AppLayoutPtr layout = app.currentLayout(mainScreenSize());
    if (!layout)
        return false;
    return place(pid, layout->frame(), holdFor);
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
