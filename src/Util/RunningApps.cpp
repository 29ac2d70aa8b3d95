#include "Util/RunningApps.h"

#include "Util/WindowManager.h"

#include <QSet>
#include <QUuid>

namespace {

using Platform::RunningApplication;

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
    QList<AppInfoPtr> apps;
    for (const RunningApplication& application : withoutExcludedNames(regularApplications()))
        apps.append(makeAppInfo(application));
    return apps;
}

QList<AppInfoPtr> RunningApps::getUpdatedLayouts(const QList<AppInfoPtr>& apps) const
{
    QList<AppInfoPtr> updated;
    for (const RunningApplication& application :
        withBundleIdentifierIn(regularApplications(), bundleIdentifiersOf(apps)))
        updated.append(makeAppInfo(application));
    return updated;
}

QList<AppInfoPtr> RunningApps::getFromWorkspace(const Workspace& workspace) const
{
    QList<AppInfoPtr> apps;
    for (const RunningApplication& application : withBundleIdentifierIn(
             withoutExcludedNames(regularApplications()), bundleIdentifiersOf(workspace.apps())))
        apps.append(makeAppInfo(application));
    return apps;
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

AppInfoPtr RunningApps::makeAppInfo(const RunningApplication& application) const
{
    return AppInfo::create(QUuid::createUuid(),
        application.localizedName.value_or(QStringLiteral("Unknown App")),
        application.bundleIdentifier, true, application.bundlePath.value_or(QString()),
        m_windowManager.getAppLayout(application));
}
