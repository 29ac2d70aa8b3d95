#pragma once

#include <QString>

// How the tray app tells the user that it cannot use its workspace store, before it ends
// with exit status 1.
namespace StoreFailure {

// Prints the message to standard error, and shows it once in a dialog when there is a
// screen to show it on: not without a QApplication, not on the offscreen or minimal
// platform, and not when VANTOR_NO_DIALOGS is set (tests that only check the exit).
void report(const QString& message);

} // namespace StoreFailure
