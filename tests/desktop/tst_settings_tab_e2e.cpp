// The Settings tab of the real tray app with real apps, real key presses and the real
// preferences file: the default shortcuts listed, one recorded and used at once, one
// removed, and all reset to the defaults.
#include "ScreenReader.h"
#include "TestMain.h"
#include "VantorProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

const QString kShown = QStringLiteral("Accessibility permissions are granted.");
const QString kButton = QStringLiteral("push button");
const QString kSheet = QStringLiteral("Woah there!");
constexpr int kShiftOption = 0x200 | 0x800;
constexpr int kControlOption = 0x1000 | 0x800;
constexpr int kCarbonKeyK = 40;

QList<TestApp> apps()
{
    return TestApps::standard(); // clock, eyes, logo: one workspace each
}

void xdotool(const QStringList& arguments)
{
    TestDesktop::run(QStringLiteral("xdotool"), arguments);
}

} // namespace

class SettingsTabE2eTest final : public QObject {
    Q_OBJECT

    ScreenReader m_reader;
    VantorProcess m_vantor;
    QStringList m_ids; // workspace ids, upper case, in store order

    static QString preferencesPath()
    {
        return qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Vantor/preferences.json");
    }

    // The stored shortcut of the workspace as {"carbonKeyCode", "carbonModifiers"}; empty
    // when none is stored.
    QJsonObject storedShortcut(int workspace) const
    {
        QFile file(preferencesPath());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QJsonValue value = QJsonDocument::fromJson(file.readAll()).object().value(
            QStringLiteral("KeyboardShortcuts_workspaceShortcut_") + m_ids.at(workspace));
        return QJsonDocument::fromJson(value.toString().toUtf8()).object();
    }

    static QJsonObject shortcut(int keyCode, int modifiers)
    {
        return {{QStringLiteral("carbonKeyCode"), keyCode}, {QStringLiteral("carbonModifiers"), modifiers}};
    }

    bool hasNodeNamed(const QString& name) const
    {
        for (const ScreenReader::Node& node : m_reader.tree()) {
            if (node.name == name && node.showing)
                return true;
        }
        return false;
    }

    // Moves the app's window away; it is back when its workspace is activated.
    static QRect scatter(const TestApp& app)
    {
        const DesktopFacts::WindowId window = TestApps::windowsOf(app.program).value(0);
        const QRect before = DesktopFacts::outerFrame(window);
        DesktopFacts::moveWindow(window, 1400, 700);
        return before;
    }

    static QRect frameOf(const TestApp& app)
    {
        return DesktopFacts::outerFrame(TestApps::windowsOf(app.program).value(0));
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QStringList names{QStringLiteral("Alpha"), QStringLiteral("Beta"), QStringLiteral("Gamma")};
        for (int i = 0; i < 3; ++i) {
            TestApps::writeDesktopEntry(apps().at(i));
            QVERIFY(TestApps::start(apps().at(i)) > 0);
            const VantorRun capture
                = VantorProcess::run({QStringLiteral("capture"), names.at(i), apps().at(i).id});
            QVERIFY2(capture.exitedWith(0), capture.describe());
        }
        const VantorRun list = VantorProcess::run({QStringLiteral("list"), QStringLiteral("--json")});
        for (const QJsonValue& workspace : QJsonDocument::fromJson(list.standardOutput).array())
            m_ids.append(workspace.toObject().value(QLatin1String("id")).toString().toUpper());
        QCOMPARE(m_ids.size(), 3);

        QVERIFY(m_reader.start());
        QProcessEnvironment environment = m_reader.environment();
        environment.insert(QStringLiteral("VANTOR_COLOR_SCHEME"), QStringLiteral("light"));
        QVERIFY(m_vantor.start({}, environment));
        QVERIFY2(m_vantor.waitForLines(kShown, 1, std::chrono::seconds(30)), qPrintable(m_vantor.err()));
        QVERIFY(m_reader.press(QStringLiteral("Settings"), QStringLiteral("page tab")));
    }

    void cleanupTestCase()
    {
        m_vantor.terminate();
        for (const TestApp& app : apps())
            TestApps::stopAll(app.program);
    }

    void init() { failOnUnexpectedWarnings(); }

    void theDefaultShortcutsAreListed()
    {
        QTRY_VERIFY(hasNodeNamed(QStringLiteral("Gamma")));
        QVERIFY(hasNodeNamed(QStringLiteral("Alpha")));
        QVERIFY(hasNodeNamed(QStringLiteral("Beta")));
        for (int i = 0; i < 3; ++i)
            QCOMPARE(storedShortcut(i), shortcut(18 + i, kShiftOption));
    }

    void aShortcutRecordedOnALineWorksAtOnce()
    {
        const QRect recorder = m_reader.extents(QStringLiteral("text"), 1);
        QVERIFY(recorder.isValid());
        xdotool({QStringLiteral("mousemove"), QString::number(recorder.center().x()),
            QString::number(recorder.center().y()), QStringLiteral("click"), QStringLiteral("1")});
        // Recording starts when the field has the focus.
        QTRY_VERIFY(m_reader.isFocused(QStringLiteral("text"), 1));
        xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+k")});
        QTRY_COMPARE(storedShortcut(1), shortcut(kCarbonKeyK, kControlOption));

        const QRect home = scatter(apps().at(1));
        QTRY_VERIFY(frameOf(apps().at(1)) != home);
        // Away from the recorder, the new combination activates Beta.
        QVERIFY(m_reader.press(QStringLiteral("Workspaces"), QStringLiteral("page tab")));
        xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+k")});
        QTRY_COMPARE(frameOf(apps().at(1)), home);
        QVERIFY(m_reader.press(QStringLiteral("Settings"), QStringLiteral("page tab")));
    }

    void removeTakesTheShortcutAway()
    {
        QVERIFY(m_reader.press(QStringLiteral("Remove Gamma"), kButton));
        QTRY_VERIFY(storedShortcut(2).isEmpty());
        QTRY_VERIFY(!hasNodeNamed(QStringLiteral("Gamma")));
        scatter(apps().at(2));
        QTRY_VERIFY(frameOf(apps().at(2)).topLeft() == QPoint(1400, 700));
        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+3")});
        // Nothing is bound to it any more: the window stays where it was moved (an absence,
        // which no event announces, so it is watched for a while).
        QVERIFY(!QTest::qWaitFor([] { return frameOf(apps().at(2)).topLeft() != QPoint(1400, 700); }, 1000));
    }

    void resetGivesEveryWorkspaceADefault()
    {
        QVERIFY(m_reader.press(QStringLiteral("Reset to default"), kButton));
        QTRY_VERIFY(hasNodeNamed(kSheet));
        QVERIFY(m_reader.press(QStringLiteral("Reset shortcuts"), kButton, kSheet));
        // Old shortcuts are not cleared first: Alpha finds ⇧⌥1 held by itself and takes ⇧⌥2,
        // Beta then takes the free ⇧⌥1, and Gamma ⇧⌥3.
        QTRY_COMPARE(storedShortcut(0), shortcut(19, kShiftOption));
        QTRY_COMPARE(storedShortcut(1), shortcut(18, kShiftOption));
        QTRY_COMPARE(storedShortcut(2), shortcut(20, kShiftOption));
        QTRY_VERIFY(hasNodeNamed(QStringLiteral("Gamma")));
    }

    void theScreensRanWithoutAQmlWarning()
    {
        const QString errors = m_vantor.err();
        QVERIFY2(!errors.contains(QLatin1String("qrc:/")) && !errors.contains(QLatin1String(".qml")),
            qPrintable(errors));
    }
};

VANTOR_DESKTOP_TEST_MAIN(SettingsTabE2eTest)
#include "tst_settings_tab_e2e.moc"
