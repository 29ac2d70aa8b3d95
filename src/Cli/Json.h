#pragma once

#include "Models/Workspace.h"
#include "Platform/Applications.h"

#include <QJsonArray>
#include <QJsonObject>

// How the command line writes records as JSON.
namespace Cli::Json {

QJsonObject workspace(const Workspace& workspace);
QJsonObject app(const AppInfo& app);
QJsonObject layout(const AppLayout& layout);
QJsonObject runningApplication(const Platform::RunningApplication& application);

QString policyName(Platform::ActivationPolicy policy);
QString text(const QJsonArray& array);
QString text(const QJsonObject& object);

} // namespace Cli::Json
