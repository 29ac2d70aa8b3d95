// The create-workspace sheet: from the press of "Add workspace" until step one is drawn
// with every running app listed, on a real main window over fake desktop services.
#include "Benchmarks.h"
#include "BenchSupport.h"

#include "ContentViewModel.h"
#include "Shell/MainWindow.h"
#include "Store/ModelContainer.h"
#include "Tabs/CreateWorkspace/CreateWorkspaceViewModel.h"
#include "Tabs/Workspace/WorkspaceView/WorkspaceViewModel.h"
#include "Util/Services.h"

#include "FakeDesktop.h"
#include "SceneItems.h"

#include <QDir>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace Bench {
namespace {

constexpr int runningAppCount = 20;
constexpr int rounds = 15;

std::unique_ptr<Services> servicesWithRunningApps()
{
    auto windows = std::make_unique<FakeWindowSystem>();
    auto applications = std::make_unique<FakeApplications>();
    for (int i = 0; i < runningAppCount; ++i) {
        const auto pid = static_cast<Platform::ProcessId>(1000 + i);
        applications->addRunning(pid, QStringLiteral("org.example.App%1").arg(i),
            QStringLiteral("App %1").arg(i));
        windows->addWindow(pid, {40.0 * i, 30.0 * i, 640, 480});
    }
    return std::make_unique<Services>(std::move(windows), std::move(applications));
}

bool stepOneListsEveryApp(QWindow* window, const MainWindow& mainWindow)
{
    const CreateWorkspaceViewModel* flow
        = mainWindow.content()->workspaceViewModel()->createViewModel();
    const QQuickItem* rows = SceneItems::visibleNamed(window, QStringLiteral("appRows")).value(0);
    return flow && flow->apps().size() == runningAppCount && rows
        && rows->property("count").toInt() == runningAppCount
        && !SceneItems::visibleNamed(window, QStringLiteral("setupStep")).isEmpty();
}

// One opening: the click, then the first frame drawn once step one lists every app.
double timeOneOpening(MainWindow& mainWindow)
{
    auto* window = qobject_cast<QQuickWindow*>(mainWindow.window());
    QQuickItem* add = SceneItems::visibleNamed(window, QStringLiteral("addWorkspaceButton")).value(0);
    if (!add)
        qFatal("vantor-bench: no Add workspace button");
    QElapsedTimer timer;
    timer.start();
    SceneItems::click(window, add);
    QSignalSpy swapped(window, &QQuickWindow::frameSwapped);
    while (!stepOneListsEveryApp(window, mainWindow))
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    swapped.clear();
    if (!swapped.wait(5000))
        qFatal("vantor-bench: step one was never drawn");
    const double ms = elapsedMs(timer);
    QTest::keyClick(window, Qt::Key_Escape);
    if (!QTest::qWaitFor([&] { return !mainWindow.content()->workspaceViewModel()->showModal(); }))
        qFatal("vantor-bench: the sheet did not close");
    return ms;
}

void measureWizardOpen()
{
    QTemporaryDir folder;
    auto container = ModelContainer::open(QDir(folder.path()).filePath(QStringLiteral("bench.sqlite")));
    if (!container)
        qFatal("vantor-bench: no store");
    const auto services = servicesWithRunningApps();
    MainWindow mainWindow(container->mainContext(), *services);
    QSignalSpy shown(&mainWindow, &MainWindow::shown);
    mainWindow.showAndActivate();
    if (!(shown.count() == 1 || shown.wait()) || !QTest::qWaitForWindowExposed(mainWindow.window()))
        qFatal("vantor-bench: the main window did not show");
    std::vector<double> times;
    timeOneOpening(mainWindow); // the first one also loads the steps' QML
    for (int round = 0; round < rounds; ++round)
        times.push_back(timeOneOpening(mainWindow));
    report(QStringLiteral("wizard_open_ms"), median(times), QStringLiteral("ms"));
}

} // namespace

Group wizardBenchmarks()
{
    return {"wizard", [](TestDesktop&) { measureWizardOpen(); }};
}

} // namespace Bench
