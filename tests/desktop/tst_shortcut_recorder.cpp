#include "KeyboardShortcuts/ConsoleOutput.h"
#include "KeyboardShortcuts/KeyboardLayout.h"
#include "KeyboardShortcuts/Preferences.h"
#include "KeyboardShortcuts/RecorderInput.h"

#include "../unit/KeyboardShortcutsTestSupport.h"
#include "RecorderFixture.h"
#include "TestMain.h"

#include <QAction>
#include <QFile>
#include <QMenu>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(KeyboardShortcutsPlugin)

using namespace KeyboardShortcuts;

namespace {

constexpr int controlKey = CarbonModifier::controlKey;
constexpr int optionKey = CarbonModifier::optionKey;
const QString first = QStringLiteral("recorderFirst");

// Another X client holding a key combination, with every lock variant the library grabs.
class OtherClient {
public:
    OtherClient() : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection.get())).data->root;
    }

    void grab(std::uint8_t keycode, std::uint16_t modifiers)
    {
        for (const std::uint16_t lock : locks)
            xcb_grab_key(m_connection.get(), 1, m_root, modifiers | lock, keycode,
                XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        xSync(m_connection.get());
    }

private:
    static constexpr std::uint16_t locks[]
        = {0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2, XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2};
    XConnectionHolder m_connection;
    xcb_window_t m_root = 0;
};

} // namespace

// What the recorder makes of the keys pressed into it, with real key events on the test's
// X server and the preferences file read back.
class ShortcutRecorderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { prepareRecorderTests(); }

    void init()
    {
        failOnUnexpectedWarnings();
        m_host = freshRecorderHost();
        QVERIFY(m_host);
    }

    void cleanup()
    {
        m_host.reset();
        QVERIFY(!isPaused());
        if (lockedModifiers() & XCB_MOD_MASK_LOCK)
            m_input.press(Keycode::capsLock);
        if (lockedModifiers() & XCB_MOD_MASK_2)
            m_input.press(Keycode::numLock);
    }

    void theControlShowsThePlaceholderAndIsAtLeast130Wide()
    {
        QCOMPARE(m_host->control()->placeholderText(), QStringLiteral("Record Shortcut"));
        QVERIFY(m_host->field()->width() >= 130);
        QCOMPARE(m_host->field()->property("placeholderText").toString(),
            QStringLiteral("Record Shortcut"));
        QVERIFY(startRecording(m_input, *m_host));
        QCOMPARE(
            m_host->field()->property("placeholderText").toString(), QStringLiteral("Press Keys…"));
        QVERIFY(!m_host->field()->property("cursorVisible").toBool());
    }

    void shiftAOnlyBeepsAndStoresNothing()
    {
        BellListener bell;
        QVERIFY(startRecording(m_input, *m_host));
        m_input.press(Keycode::a, {Keycode::shift});
        QVERIFY(bell.waitForBell());
        m_input.press(Keycode::a);
        QVERIFY(bell.waitForBell());
        QVERIFY(m_host->control()->isRecording());
        QVERIFY(storedEntry(first).isUndefined());
        QCOMPARE(m_host->control()->text(), QString());
    }

    void controlAIsStoredInThePreferencesFile()
    {
        QSignalSpy changes(m_host->control(), &RecorderControl::change);
        QVERIFY(startRecording(m_input, *m_host));
        QVERIFY(recordAccepted(m_input, m_host->control(), Keycode::a, {Keycode::control}));
        QCOMPARE(storedEntry(first).toString(), storedJson(0, controlKey));
        QCOMPARE(m_host->control()->text(), QStringLiteral("⌃A"));
        QCOMPARE(m_host->field()->property("text").toString(), QStringLiteral("⌃A"));
        QVERIFY(m_host->control()->cancelButtonVisible());
        QVERIFY(!m_host->control()->isRecording());
        const QVariantMap announced = changes.first().first().toMap();
        QCOMPARE(announced.value(QStringLiteral("carbonKeyCode")).toInt(), 0);
        QCOMPARE(announced.value(QStringLiteral("carbonModifiers")).toInt(), controlKey);
        QVERIFY(isHotKeyRegistered(Name(first)));
    }

    void bareF5IsAccepted()
    {
        QVERIFY(startRecording(m_input, *m_host));
        QVERIFY(recordAccepted(m_input, m_host->control(), Keycode::f5, {}));
        QCOMPARE(storedEntry(first).toString(), storedJson(Key::f5.rawValue, 0));
        QCOMPARE(m_host->control()->text(), QStringLiteral("F5"));
    }

    void aKeyWithoutSymbolBeeps()
    {
        BellListener bell;
        QVERIFY(startRecording(m_input, *m_host));
        m_input.press(Keycode::withoutSymbol, {Keycode::control});
        QVERIFY(bell.waitForBell());
        QVERIFY(storedEntry(first).isUndefined());
        QVERIFY(m_host->control()->isRecording());
    }

    void locksDoNotChangeWhatIsRecorded_data()
    {
        QTest::addColumn<std::uint8_t>("lock");
        QTest::addColumn<std::uint16_t>("lockModifier");
        QTest::newRow("Num Lock") << Keycode::numLock << std::uint16_t(XCB_MOD_MASK_2);
        QTest::newRow("Caps Lock") << Keycode::capsLock << std::uint16_t(XCB_MOD_MASK_LOCK);
    }

    void locksDoNotChangeWhatIsRecorded()
    {
        QFETCH(std::uint8_t, lock);
        QFETCH(std::uint16_t, lockModifier);
        m_input.press(lock);
        QVERIFY(lockedModifiers() & lockModifier);
        QVERIFY(startRecording(m_input, *m_host));
        QVERIFY(recordAccepted(m_input, m_host->control(), Keycode::a, {Keycode::control}));
        QCOMPARE(storedEntry(first).toString(), storedJson(0, controlKey));
    }

    void aRussianFirstLayoutRecordsTheSamePhysicalKey()
    {
        TestDesktop::run(QStringLiteral("setxkbmap"), {QStringLiteral("ru,us")});
        QVERIFY(startRecording(m_input, *m_host));
        QVERIFY(recordAccepted(m_input, m_host->control(), Keycode::a, {Keycode::control}));
        TestDesktop::run(QStringLiteral("setxkbmap"), {QStringLiteral("us")});
        QCOMPARE(storedEntry(first).toString(), storedJson(0, controlKey));
        QCOMPARE(m_host->control()->text(), QStringLiteral("⌃A"));
    }

    void escapeLeavesTheStoredShortcut()
    {
        setShortcut(Shortcut(Key::k, ModifierFlag::control), Name(first));
        QVERIFY(startRecording(m_input, *m_host));
        m_input.press(Keycode::escape);
        QVERIFY(waitForRecording(m_host->control(), false));
        QCOMPARE(storedEntry(first).toString(), storedJson(Key::k.rawValue, controlKey));
        QCOMPARE(m_host->control()->text(), QStringLiteral("⌃K"));
        QVERIFY(!m_host->field()->hasActiveFocus());
    }

    void deleteKeysClearTheShortcut_data()
    {
        QTest::addColumn<std::uint8_t>("keycode");
        QTest::newRow("Backspace") << Keycode::backspace;
        QTest::newRow("Forward Delete") << Keycode::deleteForward;
    }

    void deleteKeysClearTheShortcut()
    {
        QFETCH(std::uint8_t, keycode);
        setShortcut(Shortcut(Key::k, ModifierFlag::control), Name(first));
        QCOMPARE(m_host->control()->text(), QStringLiteral("⌃K"));
        QVERIFY(startRecording(m_input, *m_host));
        QSignalSpy changes(m_host->control(), &RecorderControl::change);
        m_input.press(keycode);
        QVERIFY(changes.wait(5000));
        QVERIFY(changes.first().first().isNull());
        QVERIFY(storedEntry(first).isUndefined());
        QCOMPARE(m_host->control()->text(), QString());
        QVERIFY(!m_host->control()->cancelButtonVisible());
        QVERIFY(m_host->control()->isRecording());
    }

    void theClearButtonClearsTheShortcut()
    {
        setShortcut(Shortcut(Key::k, ModifierFlag::control), Name(first));
        QSignalSpy changes(m_host->control(), &RecorderControl::change);
        const auto* button
            = m_host->field()->findChild<QQuickItem*>(QStringLiteral("recorderClearButton"));
        QVERIFY(button && button->isVisible());
        QVERIFY(clickInto(m_input, m_host->window(), RecorderHost::centreOf(button)));
        QVERIFY(!changes.isEmpty() || changes.wait(5000));
        QVERIFY(storedEntry(first).isUndefined());
        QVERIFY(!button->isVisible());
    }

    void aMenuItemsShortcutBringsTheMenuItemAlert()
    {
        // As the tray menu has it.
        QMenu menu;
        QAction* quit = menu.addAction(QStringLiteral("Quit"));
        quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
        QVERIFY(startRecording(m_input, *m_host));
        m_input.press(Keycode::q, {Keycode::control});
        QVERIFY(waitForAlert(*m_host));
        QCOMPARE(m_host->alert()->property("title").toString(),
            QStringLiteral("The menu item “Quit” already uses this shortcut."));
        QVERIFY(!m_host->alertItem("first", "recorderAlertButton1")->isVisible());
        QVERIFY(!isPaused());
        QVERIFY(answerAlert(m_input, *m_host, 0));
        QVERIFY(waitForRecording(m_host->control()));
        QVERIFY(storedEntry(first).isUndefined());
    }

    void aCombinationHeldByAnotherClientBringsTheSystemAlert_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<bool>("stored");
        QTest::newRow("ok") << 0 << false;
        QTest::newRow("use anyway") << 1 << true;
    }

    void aCombinationHeldByAnotherClientBringsTheSystemAlert()
    {
        QFETCH(int, button);
        QFETCH(bool, stored);
        OtherClient other;
        other.grab(Keycode::k, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1);
        ShortcutConsoleCapture console;
        QVERIFY(startRecording(m_input, *m_host));
        m_input.press(Keycode::k, {Keycode::control, Keycode::alt});
        QVERIFY(waitForAlert(*m_host));
        QCOMPARE(m_host->alert()->property("title").toString(),
            QStringLiteral("The system already uses this shortcut."));
        QCOMPARE(m_host->alert()->property("message").toString(),
            QStringLiteral("System shortcuts can be changed in your desktop’s keyboard settings."));
        QCOMPARE(m_host->alertItem("first", "recorderAlertButton0")->property("text").toString(),
            QStringLiteral("OK"));
        QCOMPARE(m_host->alertItem("first", "recorderAlertButton1")->property("text").toString(),
            QStringLiteral("Use Anyway"));
        QSignalSpy changes(m_host->control(), &RecorderControl::change);
        QVERIFY(answerAlert(m_input, *m_host, button));
        if (stored) {
            QVERIFY(!changes.isEmpty() || changes.wait(5000));
            QCOMPARE(
                storedEntry(first).toString(), storedJson(Key::k.rawValue, controlKey | optionKey));
            QCOMPARE(console.lines(),
                QStringList{QStringLiteral("Error registering hotkey ⌃⌥K: -9878")});
            QVERIFY(!m_host->control()->isRecording());
        } else {
            QVERIFY(waitForRecording(m_host->control()));
            QVERIFY(changes.isEmpty());
            QVERIFY(storedEntry(first).isUndefined());
        }
    }

    void aBoundGlobalShortcutIsRecordedNotRun()
    {
        const Name bound(QStringLiteral("bound"));
        setShortcut(Shortcut(Key::one, ModifierFlag::control | ModifierFlag::option), bound);
        int runs = 0;
        onKeyDown(bound, [&runs] { ++runs; });
        QVERIFY(isHotKeyRegistered(bound));
        QVERIFY(startRecording(m_input, *m_host));
        QVERIFY(recordAccepted(
            m_input, m_host->control(), Keycode::one, {Keycode::control, Keycode::alt}));
        QCOMPARE(
            storedEntry(first).toString(), storedJson(Key::one.rawValue, controlKey | optionKey));
        QCOMPARE(runs, 0);
        // Once recording is over, the hot key runs its handler again.
        m_input.press(Keycode::one, {Keycode::control, Keycode::alt});
        QTRY_COMPARE(runs, 1);
    }

    void theChecksComeInTheirOrder_data()
    {
        QTest::addColumn<int>("keyCode");
        QTest::addColumn<ModifierFlags>("modifiers");
        QTest::addColumn<int>("step");
        const ModifierFlags none;
        const ModifierFlags shift = ModifierFlag::shift;
        const ModifierFlags control = ModifierFlag::control;
        QTest::newRow("Tab") << Key::tab.rawValue << none << int(RecorderVerdict::endAndPassOn);
        QTest::newRow("Shift-Tab") << Key::tab.rawValue << shift << int(RecorderVerdict::beep);
        QTest::newRow("Escape") << Key::escape.rawValue << none << int(RecorderVerdict::end);
        QTest::newRow("Control-Escape")
            << Key::escape.rawValue << control << int(RecorderVerdict::accept);
        QTest::newRow("Delete") << Key::delete_.rawValue << none << int(RecorderVerdict::clear);
        QTest::newRow("Forward Delete")
            << Key::deleteForward.rawValue << none << int(RecorderVerdict::clear);
        QTest::newRow("Control-Delete")
            << Key::delete_.rawValue << control << int(RecorderVerdict::accept);
        QTest::newRow("A") << Key::a.rawValue << none << int(RecorderVerdict::beep);
        QTest::newRow("Shift-F5") << Key::f5.rawValue << shift << int(RecorderVerdict::accept);
        QTest::newRow("Control and no key") << 99999 << control << int(RecorderVerdict::beep);
    }

    void theChecksComeInTheirOrder()
    {
        QFETCH(int, keyCode);
        QFETCH(ModifierFlags, modifiers);
        QFETCH(int, step);
        const RecorderKeyPress press{keyCode, modifiers, Shortcut(Key(keyCode), modifiers)};
        QCOMPARE(int(weigh(press).step), step);
    }

    void theDisallowedRuleHoldsOnlyInTheSandboxOfTwoVersions()
    {
        const Shortcut optionA(Key::a, ModifierFlag::option);
        const Shortcut optionShiftA(Key::a, ModifierFlag::option | ModifierFlag::shift);
        const Shortcut controlOptionA(Key::a, ModifierFlag::option | ModifierFlag::control);
        QVERIFY(isDisallowed(optionA, {true, 15, 0}));
        QVERIFY(isDisallowed(optionShiftA, {true, 15, 1}));
        QVERIFY(!isDisallowed(controlOptionA, {true, 15, 0}));
        QVERIFY(!isDisallowed(optionA, {true, 15, 2}));
        QVERIFY(!isDisallowed(optionA, {true, 14, 0}));
        QVERIFY(!isDisallowed(optionA, {false, 15, 0}));
        QVERIFY(!isDisallowed(optionA, SandboxFacts::current()));
    }

private:
    FakeInput m_input;
    std::unique_ptr<RecorderHost> m_host;
};

VANTOR_DESKTOP_TEST_MAIN(ShortcutRecorderTest)
#include "tst_shortcut_recorder.moc"
