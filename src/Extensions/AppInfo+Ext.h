#pragma once

#include "Models/AppInfo.h"

#include <QList>

class WindowManager;

// Opens the apps of a list in order: running ones are placed at once, missing ones launched
// and placed when their launch completes. Nothing waits for a launch.
void openApps(const QList<AppInfoPtr>& apps, const WindowManager& windowManager);
