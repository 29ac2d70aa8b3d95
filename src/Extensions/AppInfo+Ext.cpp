#include "Extensions/AppInfo+Ext.h"

#include "Util/WindowManager.h"

void openApps(const QList<AppInfoPtr>& apps, const WindowManager& windowManager)
{
    windowManager.openApps(apps);
}
