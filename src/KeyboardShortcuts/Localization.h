#pragma once

#include <QString>

namespace KeyboardShortcuts {

// The user-visible text of a localisation key of the shortcut library ("record_shortcut",
// "space_key"...), translated through Qt's translators under the context
// "KeyboardShortcuts". An unknown key is returned as it is.
QString localized(const char* key);

} // namespace KeyboardShortcuts
