// The real tray app's main window as a screen reader sees it: the accessibility bus of a
// private session, read and pressed by tests/desktop/atspi/vantor_window.py.
#include "AccessibleSession.h"
#include "TestMain.h"
#include "VantorProcess.h"

namespace {

const QString kScript = QStringLiteral(VANTOR_TEST_SOURCE_DIR "/desktop/atspi/vantor_window.py");
const QString kShown = QStringLiteral("Accessibility permissions are granted.");

} // namespace

class MainWindowE2eTest final : public QObject {
    Q_OBJECT

    AccessibleSession m_session{kScript};
    VantorProcess m_vantor;

    QList<AccessibleSession::Node> tree() const { return m_session.tree(); }
    std::optional<AccessibleSession::Node> node(const QString& role, const QString& name) const
    {
        return m_session.node(role, name);
    }
    bool press(const QString& name, const QString& role) const { return m_session.press(name, role); }
    bool windowIsShown() const { return m_session.windowIsShown(); }
    bool isShowing(const QString& role, const QString& name) const
    {
        return m_session.isShowing(role, name);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_session.start());
        QVERIFY(m_vantor.start({}, m_session.environment()));
        QVERIFY2(m_vantor.waitForLines(kShown, 1, std::chrono::seconds(30)), qPrintable(m_vantor.err()));
    }

    void cleanupTestCase() { m_vantor.terminate(); }

    void init() { failOnUnexpectedWarnings(); }

    void aScreenReaderFindsTheFrameAndBothTabs()
    {
        QVERIFY(node(QStringLiteral("frame"), QStringLiteral("Vantor")));
        QVERIFY(node(QStringLiteral("page tab"), QStringLiteral("Workspaces")));
        QVERIFY(node(QStringLiteral("page tab"), QStringLiteral("Settings")));
    }

    void pressingATabShowsItsScreen()
    {
        QVERIFY(press(QStringLiteral("Settings"), QStringLiteral("page tab")));
        QTRY_VERIFY(isShowing(QStringLiteral("panel"), QStringLiteral("Settings")));
        QVERIFY(!isShowing(QStringLiteral("panel"), QStringLiteral("Workspaces")));
        QVERIFY(press(QStringLiteral("Workspaces"), QStringLiteral("page tab")));
        QTRY_VERIFY(isShowing(QStringLiteral("panel"), QStringLiteral("Workspaces")));
        QVERIFY(!isShowing(QStringLiteral("panel"), QStringLiteral("Settings")));
    }

    void aSecondStartShowsTheWindowAgainWithItsChecks()
    {
        TestDesktop::run(QStringLiteral("wmctrl"), {QStringLiteral("-c"), QStringLiteral("Vantor")});
        QTRY_VERIFY_WITH_TIMEOUT(!windowIsShown(), 20000);
        const VantorRun second = VantorProcess::run({}, std::chrono::seconds(30), m_session.environment());
        QVERIFY2(second.exitedWith(0), second.describe());
        QVERIFY(m_vantor.waitForLines(kShown, 2, std::chrono::seconds(30)));
        QVERIFY(node(QStringLiteral("page tab"), QStringLiteral("Settings")));
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
