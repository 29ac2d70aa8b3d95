
#include "RecorderFixture.h"
#include "TestMain.h"

#include <QMenu>
#include <QWidget>
#include <QtQml/qqmlextensionplugin.h>

#include <functional>

Q_IMPORT_QML_PLUGIN(KeyboardShortcutsPlugin)

using namespace KeyboardShortcuts;

namespace {

const QString first = QStringLiteral("recorderFirst");
const QList<bool> startedAndEnded{true, false};

// Another top-level window that takes the activation away from the host.
class OtherWindow {
public:
    bool activate()
    {
        m_widget.resize(200, 100);
        m_widget.move(600, 500);
        m_widget.show();
        m_widget.activateWindow();
        return QTest::qWaitForWindowActive(&m_widget);
    }

private:
    QWidget m_widget;
};

} // namespace

// How recording ends, how the control follows its shortcut, and when it may start: on the
// test desktop, with real keys and clicks.
class ShortcutRecorderEndingsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { prepareRecorderTests(); }

    void init()
    {
        failOnUnexpectedWarnings();
        m_host = freshRecorderHost();
        QVERIFY(m_host);
    }

    void cleanup() { m_host.reset(); }

    void everyEndingIsAnnouncedOnce_data()
    {
        using End = std::function<bool(FakeInput&, RecorderHost&)>;
        QTest::addColumn<End>("end");
        QTest::newRow("accepted") << End([](FakeInput& input, RecorderHost& host) {
            return recordAccepted(input, host.control(), Keycode::a, {Keycode::control});
        });
        QTest::newRow("escape") << End([](FakeInput& input, RecorderHost& host) {
            input.press(Keycode::escape);
            return waitForRecording(host.control(), false);
        });
        QTest::newRow("click outside") << End([](FakeInput& input, RecorderHost& host) {
            return clickInto(input, host.window(), host.window()->mapToGlobal(QPointF(480, 320)))
                && waitForRecording(host.control(), false);
        });
        QTest::newRow("window deactivated") << End([](FakeInput&, RecorderHost& host) {
            OtherWindow other;
            return other.activate() && waitForRecording(host.control(), false);
        });
        QTest::newRow("window hidden") << End([](FakeInput&, RecorderHost& host) {
            host.window()->hide();
            return waitForRecording(host.control(), false);
        });
        QTest::newRow("control removed") << End([](FakeInput&, RecorderHost& host) {
            delete host.recorder("first");
            return true;
        });
        QTest::newRow("menu item alert") << End([](FakeInput& input, RecorderHost& host) {
            QMenu menu;
            menu.addAction(QStringLiteral("Quit"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
            input.press(Keycode::q, {Keycode::control});
            return waitForAlert(host);
        });
    }

    void everyEndingIsAnnouncedOnce()
    {
        QFETCH(std::function<bool(FakeInput&, RecorderHost&)>, end);
        ActiveStatusLog log;
        QVERIFY(startRecording(m_input, *m_host));
        QCOMPARE(log.statuses(), QList<bool>{true});
        QVERIFY(isPaused());
        QVERIFY(end(m_input, *m_host));
        QCOMPARE(log.statuses(), startedAndEnded);
        QVERIFY(!isPaused());
        // Nothing more comes of it later.
        QSignalSpy frame(m_host->window(), &QQuickWindow::frameSwapped);
        m_host->window()->update();
        frame.wait(1000);
        QCOMPARE(log.statuses(), startedAndEnded);
    }

    void aClickNearTheFieldKeepsRecording_data()
    {
        QTest::addColumn<qreal>("outside");
        QTest::addColumn<bool>("keepsRecording");
        QTest::newRow("inside") << -4.0 << true;
        QTest::newRow("2 px out") << 2.0 << true;
        QTest::newRow("3 px out") << 3.0 << true;
        QTest::newRow("5 px out") << 5.0 << false;
        QTest::newRow("20 px out") << 20.0 << false;
    }

    void aClickNearTheFieldKeepsRecording()
    {
        QFETCH(qreal, outside);
        QFETCH(bool, keepsRecording);
        ActiveStatusLog log;
        QVERIFY(startRecording(m_input, *m_host));
        const QQuickItem* field = m_host->field();
        // Below the field, where nothing else takes the click.
        const QPointF point
            = field->mapToGlobal(QPointF(field->width() / 2, field->height() + outside));
        QVERIFY(clickInto(m_input, m_host->window(), point));
        if (keepsRecording) {
            // Still recording after the click's events: the next combination is taken.
            m_input.press(Keycode::a, {Keycode::control});
            QVERIFY(waitForRecording(m_host->control(), false));
            QCOMPARE(storedEntry(first).toString(), storedJson(0, CarbonModifier::controlKey));
        } else {
            QVERIFY(waitForRecording(m_host->control(), false));
            QVERIFY(storedEntry(first).isUndefined());
            QVERIFY(!m_host->field()->hasActiveFocus());
        }
        QCOMPARE(log.statuses(), startedAndEnded);
    }

    void tabEndsRecordingAndMovesOn()
    {
        ActiveStatusLog log;
        QVERIFY(startRecording(m_input, *m_host));
        m_input.press(Keycode::tab);
        QVERIFY(waitForRecording(m_host->control("second")));
        QVERIFY(!m_host->control()->isRecording());
        QCOMPARE(log.statuses(), (QList<bool>{true, false, true}));
    }

    void aWindowBecomingActiveDoesNotFocusTheRecorder()
    {
        ActiveStatusLog log;
        OtherWindow other;
        QVERIFY(other.activate());
        m_host->field("second")->setFocus(true);
        m_host->window()->requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(m_host->window()));
        QSignalSpy frame(m_host->window(), &QQuickWindow::frameSwapped);
        m_host->window()->update();
        QVERIFY(frame.wait(5000));
        QVERIFY(!m_host->control("second")->isRecording());
        QVERIFY(log.statuses().isEmpty());
        // A click still starts it.
        QVERIFY(startRecording(m_input, *m_host, "second"));
    }

    void anotherRecorderOfTheSameNameIsFollowed()
    {
        m_host->recorder("second")->setProperty("name", first);
        QSignalSpy texts(m_host->control(), &RecorderControl::textChanged);
        QVERIFY(startRecording(m_input, *m_host, "second"));
        QVERIFY(recordAccepted(m_input, m_host->control("second"), Keycode::k, {Keycode::control}));
        QVERIFY(!texts.isEmpty() || texts.wait(5000));
        QCOMPARE(m_host->control()->text(), QStringLiteral("⌃K"));
    }

    void anotherProcessesChangeIsShown()
    {
        QSignalSpy texts(m_host->control(), &RecorderControl::textChanged);
        QVERIFY(TestPreferences::write(QJsonObject{{QStringLiteral("KeyboardShortcuts_") + first,
            storedJson(Key::k.rawValue, CarbonModifier::controlKey)}}));
        QVERIFY(texts.wait(5000));
        QCOMPARE(m_host->control()->text(), QStringLiteral("⌃K"));
        QVERIFY(m_host->control()->cancelButtonVisible());
    }

    void aFileCorruptedWhileRecordingShowsNoShortcutAndRecordingGoesOn()
    {
        setShortcut(Shortcut(Key::k, ModifierFlag::control), Name(first));
        QVERIFY(startRecording(m_input, *m_host));
        QSignalSpy texts(m_host->control(), &RecorderControl::textChanged);
        QVERIFY(
            TestPreferences::write(QByteArrayLiteral("{\"KeyboardShortcuts_recorderFirst\": ")));
        QVERIFY(texts.wait(5000));
        QCOMPARE(m_host->control()->text(), QString());
        QVERIFY(m_host->control()->isRecording());
        QVERIFY(recordAccepted(m_input, m_host->control(), Keycode::a, {Keycode::control}));
        QCOMPARE(storedEntry(first).toString(), storedJson(0, CarbonModifier::controlKey));
    }

private:
    FakeInput m_input;
    std::unique_ptr<RecorderHost> m_host;
};

VANTOR_DESKTOP_TEST_MAIN(ShortcutRecorderEndingsTest)
#include "tst_shortcut_recorder_endings.moc"
