#pragma once

#include "Models/Workspace.h"
#include "Platform/Applications.h"
#include "Util/Activation.h"

#include <QJsonArray>
#include <QJsonObject>

// How the command line writes records as JSON.
namespace Cli::Json {

QJsonObject workspace(const Workspace& workspace);
QJsonObject app(const AppInfo& app);
QJsonObject layout(const AppLayout& layout);
QJsonObject runningApplication(const Platform::RunningApplication& application);
// What an activation did with one app.
QJsonObject outcome(const AppInfo& app, const AppOutcome& outcome);
QString stateName(AppOutcome::State state);

QString policyName(Platform::ActivationPolicy policy);
QString text(const QJsonArray& array);
QString text(const QJsonObject& object);

} // namespace Cli::Json
