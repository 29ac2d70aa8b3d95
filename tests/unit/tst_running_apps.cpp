#include "FakeDesktop.h"
#include "TestMain.h"
#include "Util/RunningApps.h"
#include "Util/WindowManager.h"

using Platform::ActivationPolicy;

namespace {

AppInfoPtr record(const std::optional<QString>& bundleIdentifier, const QString& name = {})
{
    return AppInfo::create(QUuid::createUuid(), name.isEmpty() ? QStringLiteral("Stored") : name,
        bundleIdentifier, false, QStringLiteral("/stored/path.desktop"));
}

QStringList namesOf(const QList<AppInfoPtr>& apps)
{
    QStringList names;
    for (const AppInfoPtr& app : apps)
        names.append(app->name());
    return names;
}

QStringList identifiersOf(const QList<AppInfoPtr>& apps)
{
    QStringList identifiers;
    for (const AppInfoPtr& app : apps)
        identifiers.append(app->bundleIdentifier().value_or(QStringLiteral("<none>")));
    return identifiers;
}

} // namespace

// The running applications as app records, and whether all apps of a list run.
class RunningAppsTest : public QObject {
    Q_OBJECT

    FakeWindowSystem m_windows;
    FakeApplications m_apps;
    WindowManager m_manager{m_windows, m_apps};
    RunningApps m_running{m_manager};

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_windows.windows.clear();
        m_windows.screen = {1920, 1080};
        m_apps.running.clear();
    }

    void getListsRegularAppsInRunningOrderWithTheirWindows()
    {
        m_apps.addRunning(10, QStringLiteral("org.example.Editor"), QStringLiteral("Editor"));
        m_apps.addRunning(11, QStringLiteral("org.example.Tray"), QStringLiteral("Tray"),
            ActivationPolicy::Accessory);
        m_apps.addRunning(12, std::nullopt, QStringLiteral("XClock"));
        m_windows.addWindow(12, {5, 6, 70, 80});
        m_windows.addWindow(10, {100, 200, 300, 400});
        m_windows.addWindow(10, {110, 210, 310, 410});

        const QList<AppInfoPtr> apps = m_running.get();
        QCOMPARE(namesOf(apps), (QStringList{QStringLiteral("Editor"), QStringLiteral("XClock")}));
        const AppInfoPtr editor = apps.at(0);
        QCOMPARE(editor->bundleIdentifier(), QStringLiteral("org.example.Editor"));
        QCOMPARE(
            editor->path(), QStringLiteral("/usr/share/applications/org.example.Editor.desktop"));
        QVERIFY(editor->isRunning());
        QCOMPARE(editor->layouts().size(), 2);
        QCOMPARE(editor->layouts().at(0)->frame(), (Frame{100, 200, 300, 400}));
        QCOMPARE(editor->layouts().at(0)->screenSize(), (ScreenSize{1920, 1080}));
        QCOMPARE(editor->layouts().at(0)->app(), editor);
        QCOMPARE(editor->layouts().at(1)->frame(), (Frame{110, 210, 310, 410}));

        const AppInfoPtr clock = apps.at(1);
        QCOMPARE(clock->bundleIdentifier(), std::nullopt);
        QCOMPARE(clock->path(), QString());
        QCOMPARE(clock->layouts().size(), 1);
    }

    void getGivesFreshRecordsEachTime()
    {
        m_apps.addRunning(10, QStringLiteral("org.example.Editor"), QStringLiteral("Editor"));
        const AppInfoPtr first = m_running.get().value(0);
        const AppInfoPtr second = m_running.get().value(0);
        QVERIFY(first && second);
        QVERIFY(first->id() != second->id());
        QVERIFY(!first->id().isNull());
    }

    void getLeavesOutTheFileManagerAndVantor()
    {
        m_apps.addRunning(1, QStringLiteral("org.example.Finder"), QStringLiteral("Finder"));
        m_apps.addRunning(2, QStringLiteral("io.github.vantor.Vantor"), QStringLiteral("Vantor"));
        m_apps.addRunning(
            3, QStringLiteral("io.github.vantor.VantorBeta"), QStringLiteral("Vantor Beta"));
        m_apps.addRunning(4, QStringLiteral("org.example.finder"), QStringLiteral("finder"));
        m_apps.addRunning(
            5, QStringLiteral("org.example.Nightly"), QStringLiteral("Vantor Nightly"));
        m_apps.addRunning(6, QStringLiteral("org.example.Space"), QStringLiteral("Vantor "));
        QCOMPARE(namesOf(m_running.get()),
            (QStringList{QStringLiteral("finder"), QStringLiteral("Vantor Nightly"),
                QStringLiteral("Vantor ")}));
    }

    void aRegularAppWithoutNameIsListedAsUnknownApp()
    {
        m_apps.addRunning(7, std::nullopt, std::nullopt);
        const QList<AppInfoPtr> apps = m_running.get();
        QCOMPARE(namesOf(apps), QStringList{QStringLiteral("Unknown App")});
        QCOMPARE(apps.at(0)->bundleIdentifier(), std::nullopt);
        QCOMPARE(apps.at(0)->path(), QString());
    }

    void anAppWithoutWindowsOnScreenHasNoLayouts()
    {
        m_apps.addRunning(10, QStringLiteral("org.example.Editor"), QStringLiteral("Editor"));
        m_windows.addWindow(10, {0, 0, 300, 400}).isOnScreen = false;
        QCOMPARE(m_running.get().value(0)->layouts().size(), 0);
    }

    void getUpdatedLayoutsKeepsRunningOrderAndDropsWhatDoesNotRun()
    {
        m_apps.addRunning(20, QStringLiteral("org.example.B"), QStringLiteral("B"));
        m_apps.addRunning(
            21, QStringLiteral("org.example.C"), QStringLiteral("C"), ActivationPolicy::Accessory);
        m_apps.addRunning(22, QStringLiteral("org.example.A"), QStringLiteral("A"));
        m_apps.addRunning(23, QStringLiteral("io.github.vantor.Vantor"), QStringLiteral("Vantor"));
        m_apps.addRunning(24, QStringLiteral("org.example.D"), QStringLiteral("D"));
        m_windows.addWindow(22, {1, 2, 3, 4});
        const AppInfoPtr storedA = record(QStringLiteral("org.example.A"));
        const QList<AppInfoPtr> given{storedA, record(QStringLiteral("org.example.Missing")),
            record(QStringLiteral("org.example.C")), record(std::nullopt),
            record(QStringLiteral("io.github.vantor.Vantor")),
            record(QStringLiteral("org.example.B"))};
        const QList<AppInfoPtr> updated = m_running.getUpdatedLayouts(given);
        QCOMPARE(identifiersOf(updated),
            (QStringList{QStringLiteral("org.example.B"), QStringLiteral("org.example.A"),
                QStringLiteral("io.github.vantor.Vantor")}));
        QCOMPARE(updated.at(1)->layouts().size(), 1);
        QCOMPARE(updated.at(1)->name(), QStringLiteral("A"));
        QVERIFY(updated.at(1) != storedA);
        QCOMPARE(storedA->layouts().size(), 0);
        QCOMPARE(storedA->name(), QStringLiteral("Stored"));
    }

    void getUpdatedLayoutsOfAppsNoneOfWhichRunsIsEmpty()
    {
        m_apps.addRunning(20, QStringLiteral("org.example.B"), QStringLiteral("B"));
        QVERIFY(
            m_running
                .getUpdatedLayouts({record(QStringLiteral("org.example.X")), record(std::nullopt)})
                .isEmpty());
        QVERIFY(m_running.getUpdatedLayouts({}).isEmpty());
    }

    void getFromWorkspaceKeepsTheWorkspacesAppsWithTheExclusions()
    {
        m_apps.addRunning(30, QStringLiteral("org.example.Finder"), QStringLiteral("Finder"));
        m_apps.addRunning(31, QStringLiteral("org.example.B"), QStringLiteral("B"));
        m_apps.addRunning(32, QStringLiteral("org.example.Other"), QStringLiteral("Other"));
        m_apps.addRunning(33, QStringLiteral("org.example.A"), QStringLiteral("A"));
        m_apps.addRunning(34, QStringLiteral("org.example.Hidden"), QStringLiteral("Hidden"),
            ActivationPolicy::Accessory);
        const Workspace workspace(QUuid::createUuid(), QStringLiteral("Work"),
            QDateTime::currentDateTimeUtc(), std::nullopt,
            {record(QStringLiteral("org.example.A")), record(QStringLiteral("org.example.Finder")),
                record(QStringLiteral("org.example.Hidden")),
                record(QStringLiteral("org.example.B"))});
        QCOMPARE(namesOf(m_running.getFromWorkspace(workspace)),
            (QStringList{QStringLiteral("B"), QStringLiteral("A")}));
    }

    void areAllAppsRunningCountsRegularAppsOnly_data()
    {
        QTest::addColumn<QList<AppInfoPtr>>("apps");
        QTest::addColumn<bool>("running");
        QTest::newRow("empty list") << QList<AppInfoPtr>{} << true;
        QTest::newRow("all running") << QList<AppInfoPtr>{record(QStringLiteral("org.example.A")),
            record(QStringLiteral("org.example.B"))}
                                     << true;
        QTest::newRow("twice the same")
            << QList<AppInfoPtr>{record(QStringLiteral("org.example.A")),
                   record(QStringLiteral("org.example.A"))}
            << true;
        QTest::newRow("one missing") << QList<AppInfoPtr>{record(QStringLiteral("org.example.A")),
            record(QStringLiteral("org.example.X"))}
                                     << false;
        QTest::newRow("no bundle identifier")
            << QList<AppInfoPtr>{record(QStringLiteral("org.example.A")), record(std::nullopt)}
            << false;
        QTest::newRow("accessory only")
            << QList<AppInfoPtr>{record(QStringLiteral("org.example.Tray"))} << false;
        QTest::newRow("excluded names count")
            << QList<AppInfoPtr>{record(QStringLiteral("io.github.vantor.Vantor"))} << true;
    }

    void areAllAppsRunningCountsRegularAppsOnly()
    {
        QFETCH(QList<AppInfoPtr>, apps);
        QFETCH(bool, running);
        m_apps.addRunning(1, QStringLiteral("org.example.A"), QStringLiteral("A"));
        m_apps.addRunning(2, QStringLiteral("org.example.Tray"), QStringLiteral("Tray"),
            ActivationPolicy::Accessory);
        m_apps.addRunning(3, QStringLiteral("org.example.B"), std::nullopt);
        m_apps.addRunning(4, QStringLiteral("io.github.vantor.Vantor"), QStringLiteral("Vantor"));
        m_apps.addRunning(5, std::nullopt, QStringLiteral("Nameless"));
        QCOMPARE(m_running.areAllAppsRunning(apps), running);
    }
};

VANTOR_UNIT_TEST_MAIN(RunningAppsTest)
#include "tst_running_apps.moc"
