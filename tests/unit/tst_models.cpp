#include "Models/Workspace.h"

#include "TestMain.h"

#include <QSet>

#include <cmath>
#include <limits>
#include <sys/wait.h>
#include <unistd.h>

namespace {

AppLayoutPtr layoutFor(double screenWidth, double screenHeight, double x = 10, double y = 20)
{
    return std::make_shared<AppLayout>(
        QUuid::createUuid(), screenWidth, screenHeight, x, y, 800, 600);
}

AppInfoPtr appWith(const QList<AppLayoutPtr>& layouts)
{
    return AppInfo::create(QUuid::createUuid(), QStringLiteral("Editor"),
        QStringLiteral("org.example.Editor"), true,
        QStringLiteral("/usr/share/applications/org.example.Editor.desktop"), layouts);
}

WorkspacePtr workspaceWith(const QList<AppInfoPtr>& apps)
{
    return std::make_shared<Workspace>(QUuid::createUuid(), QStringLiteral("Work"),
        QDateTime::currentDateTimeUtc(), std::nullopt, apps);
}

} // namespace

class ModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void currentLayoutMatchesTheScreenExactly()
    {
        const auto small = layoutFor(1512, 982);
        const auto large = layoutFor(2560, 1440);
        const auto app = appWith({small, large});
        QCOMPARE(app->currentLayout({2560, 1440}), large);
        QCOMPARE(app->currentLayout({1512, 982}), small);
        QCOMPARE(app->currentLayout({2560, 1439}), nullptr);
        QCOMPARE(app->currentLayout({2560.0000001, 1440}), nullptr);
    }

    void theEarliestLayoutOfAScreenSizeWins()
    {
        const auto first = layoutFor(1920, 1080, 1, 1);
        const auto second = layoutFor(1920, 1080, 2, 2);
        const auto app = appWith({first, second});
        QCOMPARE(app->currentLayout({1920, 1080}), first);
    }

    void noLayoutsGiveNoCurrentLayout()
    {
        QCOMPARE(appWith({})->currentLayout({1920, 1080}), nullptr);
        QCOMPARE(appWith({})->currentLayout({0, 0}), nullptr);
    }

    void aZeroScreenMatchesOnlyZeroLayouts()
    {
        const auto zero = layoutFor(0, 0);
        const auto app = appWith({layoutFor(1920, 1080), zero});
        QCOMPARE(app->currentLayout({0, 0}), zero);
    }

    void positionAndSizeComeFromTheFields()
    {
        const AppLayout layout(QUuid::createUuid(), 1920, 1080, 12.5, -30, 640.25, 480);
        QCOMPARE(layout.position(), QPointF(12.5, -30));
        QCOMPARE(layout.size(), QSizeF(640.25, 480));
        QCOMPARE(layout.app(), nullptr);
    }

    void layoutsKnowTheirApp()
    {
        const auto layout = layoutFor(1920, 1080);
        const auto app = appWith({layout});
        QCOMPARE(layout->app(), app);
        const auto appended = layoutFor(800, 600);
        app->appendLayout(appended);
        QCOMPARE(appended->app(), app);
        QCOMPARE(app->layouts(), (QList<AppLayoutPtr>{layout, appended}));
    }

    void removingALayoutOnlyDetachesIt()
    {
        const auto kept = layoutFor(1920, 1080);
        const auto removed = layoutFor(800, 600);
        const auto app = appWith({kept, removed});
        app->removeLayout(removed);
        QCOMPARE(app->layouts(), QList<AppLayoutPtr>{kept});
        QCOMPARE(removed->app(), nullptr);
        QCOMPARE(kept->app(), app);
    }

    void workspaceWithoutAppsHasValueAndNoLayouts()
    {
        const auto workspace = workspaceWith({});
        QVERIFY(workspace->hasValueForCurrentScreenSize({1920, 1080}));
        QVERIFY(workspace->allLayouts().isEmpty());
    }

    void hasValueNeedsEveryApp()
    {
        const auto workspace
            = workspaceWith({appWith({layoutFor(1920, 1080)}), appWith({layoutFor(1512, 982)})});
        QVERIFY(!workspace->hasValueForCurrentScreenSize({1920, 1080}));
        QVERIFY(!workspace->hasValueForCurrentScreenSize({1512, 982}));
        workspace->apps().at(1)->appendLayout(layoutFor(1920, 1080));
        QVERIFY(workspace->hasValueForCurrentScreenSize({1920, 1080}));
    }

    void allLayoutsGivesOnePerScreenSize()
    {
        const auto first = layoutFor(1512, 982);
        const auto large = layoutFor(1920, 1080);
        const auto workspace = workspaceWith({appWith({first}), appWith({layoutFor(1512, 982)}),
            appWith({layoutFor(1512, 982), large})});
        const auto layouts = workspace->allLayouts();
        QCOMPARE(layouts.size(), 2);
        QCOMPARE(QSet<AppLayoutPtr>(layouts.cbegin(), layouts.cend()),
            (QSet<AppLayoutPtr>{first, large}));
    }

    void screenSizeDescriptionTruncatesTowardZero_data()
    {
        QTest::addColumn<double>("width");
        QTest::addColumn<double>("height");
        QTest::addColumn<QString>("description");
        QTest::newRow("half") << 1512.0 << 982.5 << QStringLiteral("1512 x 982");
        QTest::newRow("almost") << 1511.9 << 982.0 << QStringLiteral("1511 x 982");
        QTest::newRow("negative") << -3.7 << 0.0 << QStringLiteral("-3 x 0");
        QTest::newRow("large") << 1e15 << 7.0 << QStringLiteral("1000000000000000 x 7");
    }

    void screenSizeDescriptionTruncatesTowardZero()
    {
        QFETCH(double, width);
        QFETCH(double, height);
        QFETCH(QString, description);
        QCOMPARE(layoutFor(width, height)->screenSizeDescription(), description);
    }

    void screenSizeDescriptionStopsOnValuesOutOfRange_data()
    {
        QTest::addColumn<double>("width");
        QTest::newRow("nan") << std::nan("");
        QTest::newRow("infinity") << std::numeric_limits<double>::infinity();
        QTest::newRow("too large") << 1e19;
    }

    void screenSizeDescriptionStopsOnValuesOutOfRange()
    {
        QFETCH(double, width);
        const auto layout = layoutFor(width, 10);
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(STDERR_FILENO);
            layout->screenSizeDescription();
            ::_exit(0);
        }
        int status = 0;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QVERIFY2(!(WIFEXITED(status) && WEXITSTATUS(status) == 0),
            "the conversion must stop the process");
    }

    void workspaceFieldsAreKeptInOrder()
    {
        const QUuid id = QUuid::createUuid();
        const QDateTime when = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
        const auto app = appWith({});
        Workspace workspace(id, QStringLiteral("  "), when, QStringLiteral("notes"), {app});
        QCOMPARE(workspace.id(), id);
        QCOMPARE(workspace.name(), QStringLiteral("  "));
        QCOMPARE(workspace.updatedAt(), when);
        QCOMPARE(workspace.notes(), std::optional<QString>(QStringLiteral("notes")));
        QCOMPARE(workspace.shortcut(), std::nullopt);
        QCOMPARE(workspace.apps(), QList<AppInfoPtr>{app});
        workspace.setShortcut(QStringLiteral("none"));
        QCOMPARE(workspace.shortcut(), std::optional<QString>(QStringLiteral("none")));
    }
};

VANTOR_UNIT_TEST_MAIN(ModelsTest)
#include "tst_models.moc"
