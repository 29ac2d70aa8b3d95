#include "KeyboardShortcuts/Logging.h"

namespace KeyboardShortcuts {

Q_LOGGING_CATEGORY(lcShortcuts, "keyboardshortcuts", QtWarningMsg)

} // namespace KeyboardShortcuts
