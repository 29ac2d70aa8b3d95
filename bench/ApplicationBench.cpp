#include "Benchmarks.h"

#include "TestDesktop.h"
#include "Util/RunningApps.h"
#include "Util/WindowManager.h"

#include <QElapsedTimer>
#include <QFile>

#include <xcb/xcb.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

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

// The child's whole life: open its own connection, show its windows, wait to be killed.
[[noreturn]] void runWindowOwner(int app)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection))
        ::_exit(1);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    // WM_CLASS is "instance\0class\0".
    const QByteArray instance = wmClassOf(app);
    const QByteArray wmClass = instance + '\0' + instance.toUpper() + '\0';
    for (int w = 0; w < windowsPerApp; ++w) {
        const xcb_window_t window = xcb_generate_id(connection);
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root,
            static_cast<int16_t>(40 * app), static_cast<int16_t>(30 * w), 300, 200, 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS,
            XCB_ATOM_STRING, 8, static_cast<uint32_t>(wmClass.size()), wmClass.constData());
        xcb_map_window(connection, window);
    }
    xcb_flush(connection);
    for (;;)
        ::pause();
}

// Processes that each own a few windows, made by forking: no helper program is needed.
class WindowOwners {
public:
    explicit WindowOwners(TestDesktop& desktop) : m_desktop(desktop) { }
    ~WindowOwners()
    {
        for (const pid_t pid : std::as_const(m_pids)) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
    }
    WindowOwners(const WindowOwners&) = delete;
    WindowOwners& operator=(const WindowOwners&) = delete;

    bool start(int app)
    {
        std::fflush(stdout);
        const pid_t pid = ::fork();
        if (pid == 0)
            runWindowOwner(app);
        if (pid < 0)
            return false;
        m_pids.append(pid);
        return m_desktop.waitForWindows(pid, windowsPerApp);
    }

private:
    TestDesktop& m_desktop;
    QList<pid_t> m_pids;
};

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
    QList<double> times;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer timer;
        timer.start();
        work();
        times.append(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times.at(times.size() / 2);
}

void runningAppsGet(TestDesktop& desktop)
{
    writeEntries();
    WindowOwners owners(desktop);
    for (int app = 0; app < appCount; ++app) {
        if (!owners.start(app)) {
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
