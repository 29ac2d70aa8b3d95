// The Workspaces tab of the real tray app, with real apps and a real store, used the way a
// screen reader uses it: workspaces captured on the command line are listed, opened,
// looked at, updated and deleted, and the store and the windows are checked.
#include "ScreenReader.h"
#include "StoreFile.h"
#include "TestMain.h"
#include "VantorProcess.h"

#include <QDir>

namespace {

const QString kShown = QStringLiteral("Accessibility permissions are granted.");
const QString kListItem = QStringLiteral("list item");
const QString kButton = QStringLiteral("push button");
const QString kSheet = QStringLiteral("Heads up!");

QRect rectOf(const Frame& frame)
{
    return {static_cast<int>(frame.x), static_cast<int>(frame.y), static_cast<int>(frame.width),
        static_cast<int>(frame.height)};
}

TestApp standardApp(const QString& id)
{
    for (const TestApp& app : TestApps::standard()) {
        if (app.id == id)
            return app;
    }
    qFatal("No test app %s", qPrintable(id));
}

} // namespace

class WorkspaceTabE2eTest final : public QObject {
    Q_OBJECT

    ScreenReader m_reader;
    VantorProcess m_vantor;

    static QString storePath()
    {
        return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Vantor.sqlite");
    }

    static WorkspacePtr stored(const QString& name)
    {
        for (const WorkspacePtr& workspace : StoreFile::workspaces(storePath())) {
            if (workspace->name() == name)
                return workspace;
        }
        return nullptr;
    }

    static QStringList storedNames()
    {
        QStringList names;
        for (const WorkspacePtr& workspace : StoreFile::workspaces(storePath()))
            names.append(workspace->name());
        return names;
    }

    // The frame stored for the workspace's only app.
    static QRect storedFrame(const QString& name)
    {
        const WorkspacePtr workspace = stored(name);
        if (!workspace || workspace->apps().size() != 1 || workspace->apps().first()->layouts().isEmpty())
            return {};
        return rectOf(workspace->apps().first()->layouts().first()->frame());
    }

    static DesktopFacts::WindowId windowOf(const QString& program)
    {
        return TestApps::windowsOf(program).value(0);
    }

    // The workspace rows of the list, in order.
    QStringList listedWorkspaces() const
    {
        QStringList names;
        for (const ScreenReader::Node& node : m_reader.tree()) {
            if (node.role == kListItem && !node.name.startsWith(QLatin1String("Test ")))
                names.append(node.name);
        }
        return names;
    }

    bool hasNodeNamed(const QString& name) const
    {
        for (const ScreenReader::Node& node : m_reader.tree()) {
            if (node.name == name && node.showing)
                return true;
        }
        return false;
    }

private Q_SLOTS:
    void initTestCase()
    {
        for (const QString& id : {QStringLiteral("test-clock"), QStringLiteral("test-logo")}) {
            const TestApp app = standardApp(id);
            TestApps::writeDesktopEntry(app);
            QVERIFY(TestApps::start(app) > 0);
        }
        for (const auto& [name, id] : {std::pair{QStringLiteral("Alpha"), QStringLiteral("test-clock")},
                 std::pair{QStringLiteral("Beta"), QStringLiteral("test-logo")}}) {
            const VantorRun capture = VantorProcess::run({QStringLiteral("capture"), name, id});
            QVERIFY2(capture.exitedWith(0), capture.describe());
        }
        QVERIFY(m_reader.start());
        QProcessEnvironment environment = m_reader.environment();
        environment.insert(QStringLiteral("VANTOR_COLOR_SCHEME"), QStringLiteral("light"));
        QVERIFY(m_vantor.start({}, environment));
        QVERIFY2(m_vantor.waitForLines(kShown, 1, std::chrono::seconds(30)), qPrintable(m_vantor.err()));
    }

    void cleanupTestCase()
    {
        m_vantor.terminate();
        TestApps::stopAll(QStringLiteral("xclock"));
        TestApps::stopAll(QStringLiteral("xlogo"));
    }

    void init() { failOnUnexpectedWarnings(); }

    void theCapturedWorkspacesAreListedInStoreOrder()
    {
        QTRY_COMPARE(listedWorkspaces(), QStringList({QStringLiteral("Alpha"), QStringLiteral("Beta")}));
    }

    void pressingARowPutsItsAppsBack()
    {
        const QRect captured = storedFrame(QStringLiteral("Alpha"));
        QVERIFY(captured.isValid());
        const DesktopFacts::WindowId clock = windowOf(QStringLiteral("xclock"));
        DesktopFacts::moveWindow(clock, 900, 650);
        QTRY_VERIFY(DesktopFacts::outerFrame(clock).topLeft() != captured.topLeft());
        QVERIFY(m_reader.press(QStringLiteral("Alpha"), kListItem));
        QTRY_COMPARE(DesktopFacts::outerFrame(clock), captured);
    }

    void editShowsTheDetailOfTheWorkspace()
    {
        QVERIFY(m_reader.press(QStringLiteral("Edit Beta"), kButton));
        QTRY_VERIFY(hasNodeNamed(QStringLiteral("Screen size: 1920 x 1080")));
        QVERIFY(hasNodeNamed(QStringLiteral("Test Logo")));
        bool updatedAtShown = false;
        for (const ScreenReader::Node& node : m_reader.tree())
            updatedAtShown = updatedAtShown || node.name.startsWith(QLatin1String("Updated at: "));
        QVERIFY(updatedAtShown);
        // Every app has a frame for this screen: no notice.
        QVERIFY(!hasNodeNamed(QStringLiteral("The current screensize doesn't have a specified layout")));
    }

    void updateWorkspaceStoresTheFrameTheWindowHasNow()
    {
        const DesktopFacts::WindowId logo = windowOf(QStringLiteral("xlogo"));
        const QRect before = storedFrame(QStringLiteral("Beta"));
        DesktopFacts::moveWindow(logo, 500, 520);
        QTRY_VERIFY(DesktopFacts::outerFrame(logo).topLeft() != before.topLeft());
        const QRect moved = DesktopFacts::outerFrame(logo);
        QVERIFY(m_reader.press(QStringLiteral("Update workspace"), kButton));
        QTRY_COMPARE(storedFrame(QStringLiteral("Beta")), moved);
    }

    void deleteAsksAndOnlyTheConfirmDeletes()
    {
        QVERIFY(m_reader.press(QStringLiteral("Delete workspace"), kButton));
        QTRY_VERIFY(hasNodeNamed(kSheet));
        QVERIFY(hasNodeNamed(QStringLiteral("Deleting Beta? That’s bold. Just making sure you meant it.")));
        QVERIFY(m_reader.press(QStringLiteral("Cancel"), kButton, kSheet));
        QTRY_VERIFY(!hasNodeNamed(kSheet));
        QCOMPARE(storedNames(), QStringList({QStringLiteral("Alpha"), QStringLiteral("Beta")}));

        QVERIFY(m_reader.press(QStringLiteral("Delete workspace"), kButton));
        QTRY_VERIFY(hasNodeNamed(kSheet));
        QVERIFY(m_reader.press(QStringLiteral("Delete workspace"), kButton, kSheet));
        QTRY_COMPARE(storedNames(), QStringList{QStringLiteral("Alpha")});
        QTRY_COMPARE(listedWorkspaces(), QStringList{QStringLiteral("Alpha")});
    }

    void aWorkspaceCapturedWhileTheWindowIsOpenAppears()
    {
        const VantorRun capture = VantorProcess::run(
            {QStringLiteral("capture"), QStringLiteral("Gamma"), QStringLiteral("test-logo")});
        QVERIFY2(capture.exitedWith(0), capture.describe());
        QTRY_COMPARE(listedWorkspaces(), QStringList({QStringLiteral("Alpha"), QStringLiteral("Gamma")}));
    }

    void theScreensRanWithoutAQmlWarning()
    {
        const QString errors = m_vantor.err();
        QVERIFY2(!errors.contains(QLatin1String("qrc:/")) && !errors.contains(QLatin1String(".qml")),
            qPrintable(errors));
    }
};

VANTOR_DESKTOP_TEST_MAIN(WorkspaceTabE2eTest)
#include "tst_workspace_tab_e2e.moc"
