#pragma once

#include <QString>

#include <functional>
#include <vector>

class TestDesktop;

namespace Bench {

// Prints one figure: "name value unit".
void report(const QString& name, double value, const QString& unit);

struct Group {
    const char* name;
    std::function<void(TestDesktop& desktop)> run;
};

// Window capture and placement.
Group windowBenchmarks();
// A workspace of 100 running apps activated, against the floor of a minimal client.
Group activationBenchmarks();
// Key dispatch and hot-key registration.
Group shortcutBenchmarks();
// The workspace store.
Group storeBenchmarks();
// Running applications and activation.
Group applicationBenchmarks();
// The tray app and the command line as whole processes.
Group shellBenchmarks();
// Launching closed apps until their windows stand on their frames.
Group launchBenchmarks();
// The shortcut recorder, from a key press to the stored shortcut.
Group recorderBenchmarks();
// The create-workspace sheet opening.
Group wizardBenchmarks();
// Checking a downloaded update feed.
Group updateBenchmarks();
// The sway backend on a private sway: many windows placed, a workspace hot key; nothing
// when sway cannot be started here.
Group swayBenchmarks();
// The KWin backend on a private headless KWin: many windows placed, beside a qdbus loop;
// nothing when KWin cannot be started here.
Group kwinBenchmarks();
// The part of the KWin group that runs as the desktop's user, started by the group itself.
int runKWinWorker();

} // namespace Bench
