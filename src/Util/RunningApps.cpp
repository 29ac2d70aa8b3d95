#include "Util/RunningApps.h"

#include "Util/WindowManager.h"

#include <QSet>
#include <QUuid>

namespace {

using Platform::RunningApplication;

// The window list read once and handed to the capture of every app of one call, instead of
// asking the window system again for each app: the answers describe the same moment.
class WindowSnapshot final : public Platform::WindowSystem {
public:
    explicit WindowSnapshot(Platform::WindowSystem& live)
        : m_live(live), m_windows(live.managedWindows())
    {
    }

    bool canControlWindows() override { return m_live.canControlWindows(); }
    ScreenSize mainScreenSize() override { return m_live.mainScreenSize(); }
    std::optional<QList<Platform::WindowInfo>> managedWindows() override { return m_windows; }
    QList<std::optional<QList<Platform::WindowId>>> windowsOfProcesses(
        const QList<Platform::ProcessId>& pids, int limit) override
    {
        return m_live.windowsOfProcesses(pids, limit);
    }
    void placeWindows(const QList<Placement>& placements) override
    {
        m_live.placeWindows(placements);
    }
    void finishPlacements() override { m_live.finishPlacements(); }
    std::unique_ptr<Platform::WindowWatch> watchNewWindows(WindowShown shown) override
    {
        return m_live.watchNewWindows(std::move(shown));
    }
    void holdFrames(const QList<Platform::WindowId>& windows, const Frame& target,
        std::chrono::milliseconds duration) override
    {
        m_live.holdFrames(windows, target, duration);
    }

private:
    Platform::WindowSystem& m_live;
    const std::optional<QList<Platform::WindowInfo>> m_windows;
};

QList<RunningApplication> withoutExcludedNames(QList<RunningApplication> applications)
{
    for (const QLatin1String name :
        {QLatin1String("Finder"), QLatin1String("Vantor"), QLatin1String("Vantor Beta")}) {
        applications.removeIf([name](const RunningApplication& application) {
            return application.localizedName && *application.localizedName == name;
        });
    }
    return applications;
}

QSet<QString> bundleIdentifiersOf(const QList<AppInfoPtr>& apps)
{
    QSet<QString> identifiers;
    for (const AppInfoPtr& app : apps) {
        if (const auto identifier = app->bundleIdentifier())
            identifiers.insert(*identifier);
    }
    return identifiers;
}

QList<RunningApplication> withBundleIdentifierIn(
    QList<RunningApplication> applications, const QSet<QString>& identifiers)
{
    applications.removeIf([&identifiers](const RunningApplication& application) {
        return !application.bundleIdentifier
            || !identifiers.contains(*application.bundleIdentifier);
    });
    return applications;
}

} // namespace

QList<AppInfoPtr> RunningApps::get() const
{
    return makeAppInfos(withoutExcludedNames(regularApplications()));
}

QList<AppInfoPtr> RunningApps::getUpdatedLayouts(const QList<AppInfoPtr>& apps) const
{
    return makeAppInfos(withBundleIdentifierIn(regularApplications(), bundleIdentifiersOf(apps)));
}

QList<AppInfoPtr> RunningApps::getFromWorkspace(const Workspace& workspace) const
{
    return makeAppInfos(withBundleIdentifierIn(
        withoutExcludedNames(regularApplications()), bundleIdentifiersOf(workspace.apps())));
}

bool RunningApps::areAllAppsRunning(const QList<AppInfoPtr>& apps) const
{
    QSet<QString> running;
    for (const RunningApplication& application : regularApplications()) {
        if (application.bundleIdentifier)
            running.insert(*application.bundleIdentifier);
    }
    return std::all_of(apps.cbegin(), apps.cend(), [&running](const AppInfoPtr& app) {
        const auto identifier = app->bundleIdentifier();
        return identifier && running.contains(*identifier);
    });
}

QList<RunningApplication> RunningApps::regularApplications() const
{
    QList<RunningApplication> applications = m_windowManager.applications().runningApplications();
    applications.removeIf([](const RunningApplication& application) {
        return application.activationPolicy != Platform::ActivationPolicy::Regular;
    });
    return applications;
}

QList<AppInfoPtr> RunningApps::makeAppInfos(const QList<RunningApplication>& applications) const
{
    if (applications.isEmpty())
        return {};
    WindowSnapshot windows(m_windowManager.windowSystem());
    const WindowManager capture(windows, m_windowManager.applications());
    QList<AppInfoPtr> apps;
    apps.reserve(applications.size());
    for (const RunningApplication& application : applications) {
        apps.append(AppInfo::create(QUuid::createUuid(),
            application.localizedName.value_or(QStringLiteral("Unknown App")),
            application.bundleIdentifier, true, application.bundlePath.value_or(QString()),
            capture.getAppLayout(application)));
    }
    return apps;
}
