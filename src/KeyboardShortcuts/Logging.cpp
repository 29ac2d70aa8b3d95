#include "KeyboardShortcuts/Logging.h"

namespace KeyboardShortcuts {

Q_LOGGING_CATEGORY(lcShortcuts, "vantor.shortcuts", QtWarningMsg)

} // namespace KeyboardShortcuts
