// The real tray app's main window as a screen reader sees it: found, pressed and checked
// through the accessibility bus of a private session.
#include "ScreenReader.h"
#include "TestMain.h"
#include "VantorProcess.h"

namespace {

const QString kShown = QStringLiteral("Accessibility permissions are granted.");

} // namespace

class MainWindowE2eTest final : public QObject {
    Q_OBJECT

    ScreenReader m_reader;
    VantorProcess m_vantor;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_reader.start());
        QProcessEnvironment environment = m_reader.environment();
        environment.insert(QStringLiteral("VANTOR_COLOR_SCHEME"), QStringLiteral("light"));
        QVERIFY(m_vantor.start({}, environment));
        QVERIFY2(m_vantor.waitForLines(kShown, 1, std::chrono::seconds(30)), qPrintable(m_vantor.err()));
    }

    void cleanupTestCase() { m_vantor.terminate(); }

    void init() { failOnUnexpectedWarnings(); }

    void aScreenReaderFindsTheFrameAndBothTabs()
    {
        QVERIFY(m_reader.node(QStringLiteral("frame"), QStringLiteral("Vantor")));
        QVERIFY(m_reader.node(QStringLiteral("page tab"), QStringLiteral("Workspaces")));
        QVERIFY(m_reader.node(QStringLiteral("page tab"), QStringLiteral("Settings")));
    }

    void pressingATabShowsItsScreen()
    {
        const QString panel = QStringLiteral("panel");
        QVERIFY(m_reader.press(QStringLiteral("Settings"), QStringLiteral("page tab")));
        QTRY_VERIFY(m_reader.isShowing(panel, QStringLiteral("Settings")));
        QVERIFY(!m_reader.isShowing(panel, QStringLiteral("Workspaces")));
        QVERIFY(m_reader.press(QStringLiteral("Workspaces"), QStringLiteral("page tab")));
        QTRY_VERIFY(m_reader.isShowing(panel, QStringLiteral("Workspaces")));
        QVERIFY(!m_reader.isShowing(panel, QStringLiteral("Settings")));
    }

    void aSecondStartShowsTheWindowAgainWithItsChecks()
    {
        TestDesktop::run(QStringLiteral("wmctrl"), {QStringLiteral("-c"), QStringLiteral("Vantor")});
        QTRY_VERIFY_WITH_TIMEOUT(!m_reader.windowIsShown(), 20000);
        const VantorRun second = VantorProcess::run({}, std::chrono::seconds(30), m_reader.environment());
        QVERIFY2(second.exitedWith(0), second.describe());
        QVERIFY(m_vantor.waitForLines(kShown, 2, std::chrono::seconds(30)));
        QVERIFY(m_reader.node(QStringLiteral("page tab"), QStringLiteral("Settings")));
    }

    // Run last: whatever the screens did above, the QML engine had nothing to complain of
    // (no binding loop, no type error, no missing file).
    void theScreensRanWithoutAQmlWarning()
    {
        const QString errors = m_vantor.err();
        QVERIFY2(!errors.contains(QLatin1String("qrc:/")) && !errors.contains(QLatin1String(".qml")),
            qPrintable(errors));
    }
};

VANTOR_DESKTOP_TEST_MAIN(MainWindowE2eTest)
#include "tst_main_window_e2e.moc"
