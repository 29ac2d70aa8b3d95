#include "Util/Logging.h"

Q_LOGGING_CATEGORY(lcStore, "vantor.store", QtWarningMsg)
Q_LOGGING_CATEGORY(lcWindows, "vantor.windows", QtWarningMsg)
Q_LOGGING_CATEGORY(lcApps, "vantor.apps", QtWarningMsg)
Q_LOGGING_CATEGORY(lcShell, "vantor.shell", QtWarningMsg)
Q_LOGGING_CATEGORY(lcCli, "vantor.cli", QtWarningMsg)
Q_LOGGING_CATEGORY(lcUpdate, "vantor.update", QtWarningMsg)
