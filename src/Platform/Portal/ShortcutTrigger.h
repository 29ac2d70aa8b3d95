#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>

namespace Platform::Portal {

// A combination of a virtual key code and hot-key modifiers as the portal's preferred_trigger
// takes it (the XDG shortcuts format): upper-case modifiers, then the key's xkb key symbol
// name on a US keyboard, joined by '+' ("SHIFT+ALT+1", "CTRL+LOGO+F5"). KDE's backend reads
// this form; it drops a trigger with "META" or lower-case modifiers. A key that Shift turns
// into another symbol is named by that symbol, without SHIFT ("ALT+exclam" for Shift+Alt+1),
// as KDE matches it. None for a key with no name here.
std::optional<QString> preferredTrigger(quint32 keyCode, quint32 modifiers);

} // namespace Platform::Portal
