// vantor-bench: measures Vantor on a private desktop (Xvfb + openbox, or the window manager
// named by VANTOR_BENCH_WM) and prints one figure per line, "name value unit", so that runs
// can be compared. Arguments name the groups to run; none runs them all.
#include "Benchmarks.h"

#include "TestDesktop.h"
#include "TestEnvironment.h"

#include <QApplication>
#include <QCoreApplication>
#include <QStringList>

#include <cstdio>

namespace Bench {

void report(const QString& name, double value, const QString& unit)
{
    // Three significant digits, never in exponent form, so runs compare line by line.
    const int decimals = value >= 100 ? 0 : value >= 10 ? 1 : value >= 1 ? 2 : 3;
    std::printf("%s %.*f %s\n", qPrintable(name), decimals, value, qPrintable(unit));
    std::fflush(stdout);
}

} // namespace Bench

int main(int argc, char** argv)
{
    if (argc == 2 && qstrcmp(argv[1], "--kwin-worker") == 0) {
        QCoreApplication app(argc, argv);
        return Bench::runKWinWorker();
    }
    TestEnvironment environment;
    TestDesktop::Options options;
    if (const QString wm = qEnvironmentVariable("VANTOR_BENCH_WM"); !wm.isEmpty())
        options.windowManager = wm;
    TestDesktop desktop(options);
    if (!desktop.isReady()) {
        std::fprintf(
            stderr, "vantor-bench: no private desktop: %s\n", qPrintable(desktop.errorString()));
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    const QStringList only = app.arguments().mid(1);
    for (const Bench::Group& group :
        {Bench::windowBenchmarks(), Bench::activationBenchmarks(), Bench::shortcutBenchmarks(),
            Bench::storeBenchmarks(), Bench::applicationBenchmarks(), Bench::shellBenchmarks(),
            Bench::launchBenchmarks(), Bench::recorderBenchmarks(), Bench::wizardBenchmarks(),
            Bench::updateBenchmarks(), Bench::swayBenchmarks(), Bench::kwinBenchmarks()}) {
        if (only.isEmpty() || only.contains(QLatin1String(group.name)))
            group.run(desktop);
    }
    return 0;
}
