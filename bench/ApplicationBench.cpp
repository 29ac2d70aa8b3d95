#include "BenchSupport.h"
#include "Benchmarks.h"

#include "TestDesktop.h"
#include "Util/RunningApps.h"
#include "Util/WindowManager.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRect>

#include <xcb/xcb.h>

#include <cstdio>
#include <functional>
#include <vector>

namespace Bench {
namespace {

constexpr int appCount = 20;
constexpr int windowsPerApp = 5;
// Apps from this one on have no desktop entry: they are matched in vain and named by class.
constexpr int firstAppWithoutEntry = 16;

QByteArray wmClassOf(int app)
{
    return QByteArrayLiteral("vantor-bench-") + QByteArray::number(app);
}

// An app of a few windows of WM_CLASS "vantor-bench-N", cascading down the screen.
bool startWindowOwner(WindowOwners& owners, TestDesktop& desktop, int app)
{
    const pid_t pid = owners.start(desktop.display(), [app](const XConnection& connection) {
        const QByteArray instance = wmClassOf(app);
        for (int w = 0; w < windowsPerApp; ++w)
            xcb_map_window(connection.get(),
                connection.createWindow(
                    QRect(40 * app, 30 * w, 300, 200), instance, instance.toUpper()));
    });
    return pid > 0 && desktop.waitForWindows(pid, windowsPerApp);
}

void writeEntries()
{
    const QString folder = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/");
    for (int app = 0; app < firstAppWithoutEntry; ++app) {
        QFile file(folder + QStringLiteral("org.example.Bench%1.desktop").arg(app));
        if (!file.open(QIODevice::WriteOnly))
            return;
        file.write("[Desktop Entry]\nType=Application\nExec=true\nName=Bench App "
            + QByteArray::number(app) + "\nStartupWMClass=" + wmClassOf(app) + '\n');
    }
}

double medianMs(int runs, const std::function<void()>& work)
{
    std::vector<double> times;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer timer;
        timer.start();
        work();
        times.push_back(elapsedMs(timer));
    }
    return median(times);
}

void runningAppsGet(TestDesktop& desktop)
{
    writeEntries();
    WindowOwners owners;
    for (int app = 0; app < appCount; ++app) {
        if (!startWindowOwner(owners, desktop, app)) {
            std::fprintf(stderr, "vantor-bench: window owner %d did not show its windows\n", app);
            return;
        }
    }
    const auto windowSystem = Platform::createWindowSystem();
    const auto applications = Platform::createApplications(*windowSystem);
    const WindowManager manager(*windowSystem, *applications);
    const RunningApps running(manager);
    qsizetype listed = 0;
    const double ms = medianMs(31, [&] { listed = running.get().size(); });
    if (listed != appCount)
        std::fprintf(stderr, "vantor-bench: RunningApps.get() listed %d apps\n", int(listed));
    report(QStringLiteral("running_apps_get_20_apps_100_windows_ms"), ms, QStringLiteral("ms"));
}

} // namespace

Group applicationBenchmarks()
{
    return {"applications", [](TestDesktop& desktop) { runningAppsGet(desktop); }};
}

} // namespace Bench
