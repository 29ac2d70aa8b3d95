#include "Cli/Json.h"

#include <QJsonDocument>

namespace Cli::Json {
namespace {

QJsonValue optional(const std::optional<QString>& value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QString uuid(const QUuid& id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

QJsonObject layout(const AppLayout& layout)
{
    return {{QStringLiteral("id"), uuid(layout.id())},
        {QStringLiteral("screenWidth"), layout.screenWidth()},
        {QStringLiteral("screenHeight"), layout.screenHeight()},
        {QStringLiteral("positionX"), layout.positionX()},
        {QStringLiteral("positionY"), layout.positionY()},
        {QStringLiteral("width"), layout.width()}, {QStringLiteral("height"), layout.height()}};
}

QJsonObject app(const AppInfo& app)
{
    QJsonArray layouts;
    for (const auto& each : app.layouts())
        layouts.append(layout(*each));
    return {{QStringLiteral("id"), uuid(app.id())}, {QStringLiteral("name"), app.name()},
        {QStringLiteral("bundleIdentifier"), optional(app.bundleIdentifier())},
        {QStringLiteral("isRunning"), app.isRunning()}, {QStringLiteral("path"), app.path()},
        {QStringLiteral("layouts"), layouts}};
}

QJsonObject workspace(const Workspace& workspace)
{
    QJsonArray apps;
    for (const auto& each : workspace.apps())
        apps.append(app(*each));
    return {{QStringLiteral("id"), uuid(workspace.id())},
        {QStringLiteral("name"), workspace.name()},
        {QStringLiteral("updatedAt"), workspace.updatedAt().toUTC().toString(Qt::ISODate)},
        {QStringLiteral("shortcut"), optional(workspace.shortcut())},
        {QStringLiteral("notes"), optional(workspace.notes())}, {QStringLiteral("apps"), apps}};
}

QString policyName(Platform::ActivationPolicy policy)
{
    switch (policy) {
    case Platform::ActivationPolicy::Regular:
        return QStringLiteral("regular");
    case Platform::ActivationPolicy::Accessory:
        return QStringLiteral("accessory");
    case Platform::ActivationPolicy::Prohibited:
        return QStringLiteral("prohibited");
    }
    return {};
}

QJsonObject runningApplication(const Platform::RunningApplication& application)
{
    return {{QStringLiteral("bundleIdentifier"), optional(application.bundleIdentifier)},
        {QStringLiteral("name"), optional(application.localizedName)},
        {QStringLiteral("pid"), application.processIdentifier},
        {QStringLiteral("policy"), policyName(application.activationPolicy)},
        {QStringLiteral("path"), optional(application.bundlePath)},
        {QStringLiteral("windows"), application.windowCount}};
}

QString stateName(AppOutcome::State state)
{
    switch (state) {
    case AppOutcome::State::Pending:
        return QStringLiteral("pending");
    case AppOutcome::State::Skipped:
        return QStringLiteral("skipped");
    case AppOutcome::State::AlreadyRunning:
        return QStringLiteral("alreadyRunning");
    case AppOutcome::State::Launched:
        return QStringLiteral("launched");
    case AppOutcome::State::NotInstalled:
        return QStringLiteral("notInstalled");
    case AppOutcome::State::Failed:
        return QStringLiteral("failed");
    case AppOutcome::State::TimedOut:
        return QStringLiteral("timedOut");
    }
    return {};
}

QJsonObject outcome(const AppInfo& app, const AppOutcome& outcome)
{
    return {{QStringLiteral("name"), app.name()},
        {QStringLiteral("bundleIdentifier"), optional(app.bundleIdentifier())},
        {QStringLiteral("outcome"), stateName(outcome.state)},
        {QStringLiteral("placed"), outcome.placed},
        {QStringLiteral("pid"), outcome.pid ? QJsonValue(*outcome.pid) : QJsonValue()},
        {QStringLiteral("error"), outcome.error.isEmpty() ? QJsonValue() : outcome.error}};
}

QString text(const QJsonArray& array)
{
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented));
}

QString text(const QJsonObject& object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Indented));
}

} // namespace Cli::Json
