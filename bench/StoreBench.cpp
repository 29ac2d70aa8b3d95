#include "BenchSupport.h"
#include "Benchmarks.h"

#include "FakeDesktop.h"
#include "Store/ModelContainer.h"
#include "Util/CacheManager.h"
#include "Util/WindowManager.h"

#include <QElapsedTimer>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>
#include <vector>

namespace Bench {
namespace {

constexpr int workspaceCount = 1000;

WorkspacePtr benchWorkspace(int index)
{
    QList<AppInfoPtr> apps;
    for (int a = 0; a < 5; ++a) {
        QList<AppLayoutPtr> layouts;
        for (int l = 0; l < 3; ++l)
            layouts.append(std::make_shared<AppLayout>(
                QUuid::createUuid(), 1920 + l, 1080, 10 * a, 20 * l, 800, 600));
        apps.append(AppInfo::create(QUuid::createUuid(), QStringLiteral("App %1").arg(a),
            QStringLiteral("org.example.App%1").arg(a), true,
            QStringLiteral("/usr/share/applications/App%1.desktop").arg(a), layouts));
    }
    return std::make_shared<Workspace>(QUuid::createUuid(),
        QStringLiteral("Workspace %1").arg(index), QDateTime::currentDateTime(),
        QStringLiteral("notes"), apps);
}

std::unique_ptr<ModelContainer> openStore(const QString& path)
{
    QString error;
    auto container = ModelContainer::open(path, &error);
    if (!container)
        qFatal("%s", qPrintable(ModelContainer::openFailureMessage(path, error)));
    return container;
}

// Every fetch on a new container: a new connection and no records known yet, as at start-up.
double fetchAllMs(const QString& path)
{
    std::vector<double> runs;
    for (int run = 0; run < 9; ++run) {
        auto container = openStore(path);
        QElapsedTimer timer;
        timer.start();
        const auto fetched = container->mainContext().fetchWorkspaces();
        runs.push_back(elapsedMs(timer));
        if (fetched.value.size() != workspaceCount)
            std::fprintf(
                stderr, "vantor-bench: fetched %d workspaces\n", int(fetched.value.size()));
    }
    return median(runs);
}

double createMs(const QString& path)
{
    auto container = openStore(path);
    FakeWindowSystem windows;
    FakeApplications applications;
    const WindowManager windowManager(windows, applications);
    CacheManager manager(container->mainContext(), windowManager);
    manager.fetchAllWorkspaces(); // the screens have the list loaded
    std::vector<double> runs;
    for (int run = 0; run < 31; ++run) {
        const auto workspace = benchWorkspace(workspaceCount + run);
        QElapsedTimer timer;
        timer.start();
        manager.createWorkspace(workspace);
        runs.push_back(elapsedMs(timer));
    }
    return median(runs);
}

void run()
{
    QTemporaryDir directory(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/store-bench-XXXXXX"));
    const QString path = directory.filePath(QStringLiteral("Vantor.sqlite"));
    {
        auto container = openStore(path);
        for (int i = 0; i < workspaceCount; ++i)
            container->mainContext().insert(benchWorkspace(i));
        if (const auto error = container->mainContext().save())
            std::fprintf(stderr, "vantor-bench: %s\n", qPrintable(*error));
    }
    report(
        QStringLiteral("store_fetch_1000_workspaces_ms"), fetchAllMs(path), QStringLiteral("ms"));
    report(QStringLiteral("store_create_workspace_ms"), createMs(path), QStringLiteral("ms"));
}

} // namespace

Group storeBenchmarks()
{
    return {"store", [](TestDesktop&) { run(); }};
}

} // namespace Bench
