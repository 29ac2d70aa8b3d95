// The KWin backend on a private headless KWin (with XWayland): 100 windows placed through
// KWinWindowSystem (one script for the whole batch) against the way a shell script does it,
// one script per window loaded and run with qdbus, in the same run.
//
// KWin runs as the session's user and reads the scripts Vantor writes into its private
// runtime directory, so the measuring part runs as that user too: the bench starts itself
// again as a worker on the desktop ("--kwin-worker") and passes its figures on. Frames are
// read back once through Vantor's window list, which asks KWin: KWin owns an X11 window's
// frame, so a frame set by a script that has answered reads back at once.
#include "Benchmarks.h"

#include "BenchSupport.h"
#include "KWinDesktop.h"
#include "Platform/KWin/KWinWindowSystem.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace Bench {
namespace {

using Platform::WindowId;
using Platform::WindowInfo;

constexpr int kWindows = 100;
constexpr int kRounds = 7;
constexpr int kLoopRounds = 3;
const QString kQdbus = QStringLiteral("/usr/lib/qt5/bin/qdbus");

// Two grids the windows take in turn: every round moves and resizes every window.
Frame targetOf(int index, int round)
{
    const int column = index % 10;
    const int row = index / 10;
    const int shift = round % 2 == 0 ? 0 : 40;
    return {double(20 + column * 180 + shift), double(20 + row * 100 + shift),
        double(round % 2 == 0 ? 150 : 130), double(round % 2 == 0 ? 80 : 90)};
}

// KWin gives the X11 class in lower case.
bool isLogo(const WindowInfo& window)
{
    return window.wmClass.compare(QLatin1String("XLogo"), Qt::CaseInsensitive) == 0;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

class KWinWorker {
public:
    bool start()
    {
        // Counted as KWin reports them: reading the whole list while a hundred windows map
        // would only load KWin.
        int shown = 0;
        const auto watch = m_windows.watchNewWindows([&shown](const WindowInfo& window) {
            if (isLogo(window))
                ++shown;
        });
        for (int i = 0; i < kWindows; ++i) {
            auto* logo = new QProcess;
            logo->setStandardOutputFile(QProcess::nullDevice());
            logo->setStandardErrorFile(QProcess::nullDevice());
            logo->start(QStringLiteral("xlogo"),
                {QStringLiteral("-geometry"), QStringLiteral("100x80+0+0")});
            m_logos.emplace_back(logo);
        }
        QElapsedTimer waited;
        waited.start();
        while (shown < kWindows && waited.elapsed() < 60000)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
        // KWin may take a few seconds to draw a hundred new windows before it answers again.
        for (int attempt = 0; attempt < 15; ++attempt) {
            if (logos().size() == kWindows)
                return true;
        }
        return false;
    }

    ~KWinWorker()
    {
        for (auto& logo : m_logos) {
            logo->kill();
            logo->waitForFinished(2000);
        }
    }

    void run()
    {
        std::vector<double> vantor;
        for (int round = 0; round < kRounds; ++round) {
            const QList<WindowInfo> windows = logos();
            QElapsedTimer timer;
            timer.start();
            QList<Platform::WindowSystem::Placement> placements;
            for (int i = 0; i < windows.size(); ++i)
                placements.append({{windows[i].id}, targetOf(i, round)});
            m_windows.placeWindows(placements);
            if (!isPlaced(round))
                fail("Vantor's placement did not settle");
            vantor.push_back(double(timer.nsecsElapsed()) / 1e6);
        }
        std::vector<double> loop;
        for (int round = 0; round < kLoopRounds; ++round) {
            QElapsedTimer timer;
            timer.start();
            for (int i = 0; i < kWindows; ++i)
                placeWithQdbus(i, targetOf(i, round + 1));
            if (!isPlaced(round + 1))
                fail("the qdbus loop's placement did not settle");
            loop.push_back(double(timer.nsecsElapsed()) / 1e6);
        }
        const double placed = median(vantor);
        const double looped = median(loop);
        report(QStringLiteral("kwin_place_100_windows_settled_ms"), placed, QStringLiteral("ms"));
        report(
            QStringLiteral("kwin_qdbus_script_loop_100_windows_ms"), looped, QStringLiteral("ms"));
        report(QStringLiteral("kwin_place_speedup"), placed > 0 ? looped / placed : 0,
            QStringLiteral("x"));
    }

private:
    [[noreturn]] static void fail(const char* what)
    {
        std::fprintf(stderr, "vantor-bench kwin: %s\n", what);
        std::exit(1);
    }

    // The xlogo windows, oldest first: the order of KWin's own list.
    QList<WindowInfo> logos()
    {
        QList<WindowInfo> logos;
        for (const WindowInfo& window : m_windows.managedWindows().value_or(QList<WindowInfo>{})) {
            if (isLogo(window))
                logos.append(window);
        }
        std::sort(logos.begin(), logos.end(),
            [](const WindowInfo& a, const WindowInfo& b) { return a.id < b.id; });
        return logos;
    }

    bool isPlaced(int round)
    {
        const QList<WindowInfo> windows = logos();
        for (int index = 0; index < windows.size(); ++index) {
            if (windows[index].frame != targetOf(index, round))
                return false;
        }
        return windows.size() == kWindows;
    }

    // What a shell script does: a script file for one window, loaded, started and unloaded
    // with qdbus. The window is the index-th xlogo of KWin's list.
    void placeWithQdbus(int index, const Frame& frame)
    {
        const QString name = QStringLiteral("bench-loop-%1").arg(index);
        const QString path = m_scripts.filePath(name + QStringLiteral(".js"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            fail("cannot write a script");
        file.write(QStringLiteral(
            "var list = workspace.windowList ? workspace.windowList() : workspace.clientList();\n"
            "var seen = 0;\n"
            "for (var i = 0; i < list.length; ++i) {\n"
            "    if (list[i].resourceClass != \"xlogo\") continue;\n"
            "    if (seen++ != %1) continue;\n"
            "    list[i].frameGeometry = { x: %2, y: %3, width: list[i].frameGeometry.width,"
            " height: list[i].frameGeometry.height };\n"
            "    list[i].frameGeometry = { x: %2, y: %3, width: %4, height: %5 };\n"
            "}\n")
                       .arg(index)
                       .arg(frame.x)
                       .arg(frame.y)
                       .arg(frame.width)
                       .arg(frame.height)
                       .toUtf8());
        file.close();
        qdbus({QStringLiteral("org.kde.KWin"), QStringLiteral("/Scripting"),
            QStringLiteral("org.kde.kwin.Scripting.loadScript"), path, name});
        qdbus({QStringLiteral("org.kde.KWin"), QStringLiteral("/Scripting"),
            QStringLiteral("org.kde.kwin.Scripting.start")});
        qdbus({QStringLiteral("org.kde.KWin"), QStringLiteral("/Scripting"),
            QStringLiteral("org.kde.kwin.Scripting.unloadScript"), name});
    }

    // qdbus's output, or a null string when it failed.
    static QString qdbus(const QStringList& arguments)
    {
        QProcess process;
        process.start(kQdbus, arguments);
        if (!process.waitForFinished(5000) || process.exitCode() != 0)
            return {};
        return QString::fromUtf8(process.readAllStandardOutput().trimmed());
    }

    Platform::KWin::KWinWindowSystem m_windows;
    std::vector<std::unique_ptr<QProcess>> m_logos;
    QTemporaryDir m_scripts;
};

} // namespace

int runKWinWorker()
{
    KWinWorker worker;
    if (!worker.start()) {
        std::fprintf(stderr, "vantor-bench kwin: the xlogo windows did not come up\n");
        return 1;
    }
    worker.run();
    return 0;
}

Group kwinBenchmarks()
{
    return {"kwin", [](TestDesktop&) {
                KWinDesktop desktop(KWinDesktop::Options{1920, 1080, false});
                if (!desktop.isReady()) {
                    std::fprintf(stderr, "vantor-bench kwin: skipped, no KWin desktop: %s\n",
                        qPrintable(desktop.errorString()));
                    return;
                }
                const VantorRun worker
                    = desktop.runAsSessionUser(QCoreApplication::applicationFilePath(),
                        {QStringLiteral("--kwin-worker")}, std::chrono::minutes(3));
                std::fputs(worker.standardOutput.constData(), stdout);
                std::fflush(stdout);
                if (!worker.exitedWith(0))
                    std::fprintf(stderr, "vantor-bench kwin: the worker failed: %s\n",
                        worker.describe().constData());
            }};
}

} // namespace Bench
