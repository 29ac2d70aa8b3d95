#include "KeyboardShortcuts/CarbonKeyboardShortcuts.h"
#include "KeyboardShortcuts/ConsoleOutput.h"
#include "KeyboardShortcuts/KeyboardLayout.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/Preferences.h"

#include "TestMain.h"

#include <QFile>
#include <QKeyEvent>
#include <QMenu>
#include <QRegularExpression>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

using namespace KeyboardShortcuts;

namespace {

const Shortcut optionShiftOne(Key::one, ModifierFlag::option | ModifierFlag::shift);
const Shortcut controlF5(Key::f5, ModifierFlag::control);
// The X side of ⌥⇧1 on the test server: keycode of "1", Shift + Mod1 (Alt).
constexpr std::uint8_t keycodeOfOne = 10;
constexpr std::uint16_t shiftAlt = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_1;

void xdotool(const QStringList& arguments)
{
    TestDesktop::run(QStringLiteral("xdotool"), arguments);
}

// The keyboard LED mask from `xset q`: bit 0 Caps Lock, bit 1 Num Lock.
int ledMask()
{
    const QString output
        = QString::fromUtf8(TestDesktop::run(QStringLiteral("xset"), {QStringLiteral("q")}));
    const auto match
        = QRegularExpression(QStringLiteral("LED mask:\\s*([0-9a-fA-F]+)")).match(output);
    return match.hasMatch() ? match.captured(1).toInt(nullptr, 16) : -1;
}

void switchLocksOff()
{
    const int mask = ledMask();
    if (mask & 1)
        xdotool({QStringLiteral("key"), QStringLiteral("Caps_Lock")});
    if (mask & 2)
        xdotool({QStringLiteral("key"), QStringLiteral("Num_Lock")});
}

// Another X client, to hold key combinations and to find out whether a combination is free.
class OtherClient {
public:
    OtherClient() : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection.get())).data->root;
    }

    // Grabs the combination alone, without lock variants; false when someone holds it.
    bool grab(std::uint8_t keycode, std::uint16_t modifiers)
    {
        const auto cookie = xcb_grab_key_checked(m_connection.get(), 1, m_root, modifiers, keycode,
            XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        xcb_generic_error_t* error = xcb_request_check(m_connection.get(), cookie);
        std::free(error);
        return error == nullptr;
    }

    void ungrab(std::uint8_t keycode, std::uint16_t modifiers)
    {
        xcb_ungrab_key(m_connection.get(), keycode, m_root, modifiers);
        xcb_flush(m_connection.get());
    }

    // Whether the combination is free: it is grabbed and released again when it is.
    bool isFree(std::uint8_t keycode, std::uint16_t modifiers)
    {
        if (!grab(keycode, modifiers))
            return false;
        ungrab(keycode, modifiers);
        return true;
    }

private:
    struct Disconnect {
        void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
    };
    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    xcb_window_t m_root = 0;
};

class ConsoleLines {
public:
    ConsoleLines()
        : m_previous(ConsoleOutput::setSink([this](const QString& line) { m_lines << line; }))
    {
    }
    ~ConsoleLines() { ConsoleOutput::setSink(m_previous); }
    ConsoleLines(const ConsoleLines&) = delete;
    ConsoleLines& operator=(const ConsoleLines&) = delete;
    QStringList lines() const { return m_lines; }

private:
    QStringList m_lines;
    ConsoleOutput::Sink m_previous;
};

// Counts the key events of a name; a second name pressed afterwards marks the end of the
// first one's events, since the X server delivers in order.
struct Counter {
    int downs = 0;
    int ups = 0;
    void bind(const Name& name)
    {
        onKeyDown(name, [this] { ++downs; });
        onKeyUp(name, [this] { ++ups; });
    }
};

// Counts the key events of the "1" key that reach a widget.
class KeyWatcher : public QObject {
public:
    int seen = 0;
    bool eventFilter(QObject*, QEvent* event) override
    {
        if ((event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease)
            && static_cast<QKeyEvent*>(event)->nativeScanCode() == keycodeOfOne)
            ++seen;
        return false;
    }
};

} // namespace

// Global hot keys on a real X server, pressed with xdotool (XTEST).
class HotKeysTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        Preferences::setFolderName(QStringLiteral("Vantor"));
        KeyboardLayout::current().useSystemKeymap();
    }

    void init()
    {
        failOnUnexpectedWarnings();
        removeAllHandlers();
        unregisterAll();
        setEnabled(true);
        QFile::remove(Preferences::standard().filePath());
        switchLocksOff();
        m_sentinel = std::make_unique<Counter>();
        const Name sentinel(QStringLiteral("sentinel"));
        setShortcut(controlF5, sentinel);
        m_sentinel->bind(sentinel);
    }

    void cleanup()
    {
        switchLocksOff();
        TestDesktop::run(QStringLiteral("setxkbmap"), {QStringLiteral("us")});
    }

    void aPressGivesOneKeyDownAndOneKeyUp()
    {
        Counter counter;
        const Name name(QStringLiteral("press"));
        setShortcut(optionShiftOne, name);
        counter.bind(name);
        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+1")});
        QTRY_COMPARE(counter.ups, 1);
        pressSentinel();
        QCOMPARE(counter.downs, 1);
        QCOMPARE(counter.ups, 1);
    }

    void capsLockAndNumLockDoNotGetInTheWay()
    {
        Counter counter;
        const Name name(QStringLiteral("locks"));
        setShortcut(optionShiftOne, name);
        counter.bind(name);
        xdotool({QStringLiteral("key"), QStringLiteral("Num_Lock"), QStringLiteral("Caps_Lock")});
        QCOMPARE(ledMask() & 3, 3);
        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+1")});
        QTRY_COMPARE(counter.ups, 1);
        QCOMPARE(counter.downs, 1);
    }

    void aHeldKeyGivesOneKeyUp()
    {
        Counter counter;
        const Name name(QStringLiteral("held"));
        setShortcut(optionShiftOne, name);
        counter.bind(name);
        xdotool({QStringLiteral("keydown"), QStringLiteral("shift+alt+1")});
        QTRY_COMPARE(counter.downs, 1);
        // Held long enough for the server to repeat the key several times.
        QTest::qWait(1000);
        xdotool({QStringLiteral("keyup"), QStringLiteral("shift+alt+1")});
        QTRY_COMPARE(counter.ups, 1);
        pressSentinel();
        QCOMPARE(counter.downs, 1);
        QCOMPARE(counter.ups, 1);
    }

    void aCombinationHeldByAnotherClientIsRefused()
    {
        OtherClient other;
        QVERIFY(other.grab(keycodeOfOne, shiftAlt));
        ConsoleLines console;
        const Name name(QStringLiteral("taken"));
        setShortcut(optionShiftOne, name);
        QCOMPARE(
            console.lines(), QStringList{QStringLiteral("Error registering hotkey ⌥⇧1: -9878")});
        QVERIFY(!CarbonKeyboardShortcuts::hotKeys().values().contains(optionShiftOne));
        other.ungrab(keycodeOfOne, shiftAlt);
    }

    void aKeyWithoutKeycodeCannotBeRegistered()
    {
        ConsoleLines console;
        setShortcut(Shortcut(Key::function, ModifierFlag::command), Name(QStringLiteral("globe")));
        QCOMPARE(console.lines(),
            QStringList{QStringLiteral("Error registering hotkey ⌘ key code 63: -9879")});
    }

    void aKeyCodeOfNoKeyIsReportedByItsCodeAndNothingIsGrabbed()
    {
        ConsoleLines console;
        const Name name(QStringLiteral("nowhere"));
        Preferences::standard().set(name.preferencesKey(),
            QStringLiteral("{\"carbonKeyCode\":99999,\"carbonModifiers\":256}"));
        onKeyUp(name, [] {});
        QCOMPARE(console.lines(),
            QStringList{QStringLiteral("Error registering hotkey ⌘ key code 99999: -9879")});
        QVERIFY(!isHotKeyRegistered(name));
        QCOMPARE(CarbonKeyboardShortcuts::hotKeys().size(), 1); // the sentinel
    }

    void aHandEditedKeyWithoutModifierIsNotGrabbed()
    {
        ConsoleLines console;
        const Name name(QStringLiteral("bare"));
        Preferences::standard().set(
            name.preferencesKey(), QStringLiteral("{\"carbonKeyCode\":0,\"carbonModifiers\":0}"));
        Counter counter;
        counter.bind(name);
        QCOMPARE(console.lines(),
            QStringList{QStringLiteral("Hotkey A not registered: without Control, Option or "
                                       "Command it would take that key from every app")});
        OtherClient other;
        constexpr std::uint8_t keycodeOfA = 38;
        QVERIFY(other.isFree(keycodeOfA, 0));
        QVERIFY(other.isFree(keycodeOfA, XCB_MOD_MASK_2));
        xdotool({QStringLiteral("key"), QStringLiteral("a")});
        pressSentinel();
        QCOMPARE(counter.downs + counter.ups, 0);
    }

    void aBareFunctionKeyIsGrabbed()
    {
        Counter counter;
        const Name name(QStringLiteral("f7"));
        setShortcut(Shortcut(Key::f7), name);
        counter.bind(name);
        QVERIFY(isHotKeyRegistered(name));
        xdotool({QStringLiteral("key"), QStringLiteral("F7")});
        QTRY_COMPARE(counter.ups, 1);
    }

    void twoNamesOnOneCombinationAreReportedAndBothRun()
    {
        Counter work;
        Counter play;
        setShortcut(optionShiftOne, Name(QStringLiteral("work")));
        setShortcut(optionShiftOne, Name(QStringLiteral("play")));
        ConsoleLines console;
        work.bind(Name(QStringLiteral("work")));
        play.bind(Name(QStringLiteral("play")));
        QCOMPARE(console.lines(),
            QStringList{QStringLiteral(
                "Shortcut ⌥⇧1 is shared by play, work; all of them run when it is pressed")});
        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+1")});
        QTRY_COMPARE(work.ups, 1);
        QTRY_COMPARE(play.ups, 1);
    }

    void disablingReleasesTheGrabsAndEnablingTakesThemBackUnderTheSameIds()
    {
        Counter counter;
        const Name name(QStringLiteral("switch"));
        setShortcut(optionShiftOne, name);
        counter.bind(name);
        const QMap<quint32, Shortcut> before = CarbonKeyboardShortcuts::hotKeys();
        OtherClient other;
        QVERIFY(!other.isFree(keycodeOfOne, shiftAlt));
        QVERIFY(!other.isFree(keycodeOfOne, shiftAlt | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2));

        setEnabled(false);
        QVERIFY(other.isFree(keycodeOfOne, shiftAlt));
        QVERIFY(other.isFree(keycodeOfOne, shiftAlt | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2));
        QCOMPARE(CarbonKeyboardShortcuts::hotKeys(), before);

        setEnabled(true);
        QVERIFY(!other.isFree(keycodeOfOne, shiftAlt));
        QCOMPARE(CarbonKeyboardShortcuts::hotKeys(), before);
        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+1")});
        QTRY_COMPARE(counter.ups, 1);
    }

    void anOpenMenuGetsTheShortcutFromTheApplicationsKeys()
    {
        Counter counter;
        const Name name(QStringLiteral("menu"));
        setShortcut(optionShiftOne, name);
        counter.bind(name);
        QMenu menu;
        menu.addAction(QStringLiteral("First"));
        menu.addAction(QStringLiteral("Second"));
        KeyWatcher watcher;
        menu.installEventFilter(&watcher);
        menu.popup(QPoint(200, 200));
        QTRY_VERIFY(isMenuOpen());
        OtherClient other;
        // The menu holds the keyboard; the hot key's grab is released meanwhile.
        QVERIFY(other.isFree(keycodeOfOne, shiftAlt));

        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+1")});
        QTRY_COMPARE(counter.ups, 1);
        QCOMPARE(counter.downs, 1);
        QCOMPARE(watcher.seen, 0);
        QVERIFY(menu.isVisible());

        menu.hide();
        QVERIFY(!isMenuOpen());
        QVERIFY(!other.isFree(keycodeOfOne, shiftAlt));
        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+1")});
        QTRY_COMPARE(counter.ups, 2);
        QCOMPARE(counter.downs, 2);
    }

    void theServersKeymapNamesTheKeysAndGrabsFollowItsChanges()
    {
        Counter counter;
        const Name name(QStringLiteral("layout"));
        setShortcut(optionShiftOne, name);
        counter.bind(name);
        QCOMPARE(
            Shortcut(Key::y, ModifierFlag::command).presentableDescription(), QStringLiteral("⌘Y"));
        TestDesktop::run(QStringLiteral("setxkbmap"), {QStringLiteral("de")});
        QTRY_COMPARE(
            Shortcut(Key::y, ModifierFlag::command).presentableDescription(), QStringLiteral("⌘Z"));
        xdotool({QStringLiteral("key"), QStringLiteral("shift+alt+1")});
        QTRY_COMPARE(counter.ups, 1);
    }

private:
    void pressSentinel()
    {
        const int before = m_sentinel->ups;
        xdotool({QStringLiteral("key"), QStringLiteral("ctrl+F5")});
        QTRY_COMPARE(m_sentinel->ups, before + 1);
    }

    std::unique_ptr<Counter> m_sentinel;
};

VANTOR_DESKTOP_TEST_MAIN(HotKeysTest)
#include "tst_hotkeys.moc"
