#pragma once

#include <QStringList>

// The tray app: one per user session, in the system tray, with its main window.
namespace VantorApp {

// Runs Vantor until it quits; returns the process exit code. A second Vantor asks the
// first to show its window and returns 0; without an X display it explains and returns 1.
int run(int argc, char** argv);

} // namespace VantorApp
