#pragma once

#include <QtGlobal>

#include <optional>

namespace Platform::Kde {

// A combination of a virtual key code and hot-key modifiers as KGlobalAccel takes it: a Qt key
// code with Qt's modifier flags OR-ed in (Qt::ALT | Qt::Key_F5). It names the same key as the
// portal's trigger for the combination, so a key that Shift turns into another symbol is that
// symbol without Shift (Qt::ALT | Qt::Key_Exclam for Shift+Alt+1), as KDE matches it. None for
// a key with no name here.
std::optional<int> kdeKeyCode(quint32 keyCode, quint32 modifiers);

} // namespace Platform::Kde
