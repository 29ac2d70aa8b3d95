#include "KeyboardShortcutsTestSupport.h"

#include "KeyboardShortcuts/KeyboardLayout.h"

#include "TestMain.h"

#include <QKeyEvent>
#include <QWidget>

using namespace KeyboardShortcuts;

namespace {

using namespace TestShortcuts;

struct Calls {
    QList<Shortcut> downs;
    QList<Shortcut> ups;
    CarbonKeyboardShortcuts::Callback down()
    {
        return [this](const Shortcut& s) { downs << s; };
    }
    CarbonKeyboardShortcuts::Callback up()
    {
        return [this](const Shortcut& s) { ups << s; };
    }
};

KeyboardEvent hotKeyEvent(KeyboardEvent::Kind kind, quint32 signature, quint32 id)
{
    KeyboardEvent event;
    event.kind = kind;
    event.hotKeyID = {signature, id};
    return event;
}

// Counts the key events that get through to a widget.
class KeyCounter : public QObject {
public:
    int count = 0;
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease)
            ++count;
        return false;
    }
};

QKeyEvent nativeKey(QEvent::Type type, const Shortcut& shortcut, quint32 extraModifiers = 0,
    bool autoRepeat = false)
{
    return QKeyEvent(type, Qt::Key_1, Qt::NoModifier, static_cast<quint32>(shortcut.carbonKeyCode),
        0, static_cast<quint32>(shortcut.carbonModifiers) | extraModifiers, QStringLiteral("1"),
        autoRepeat);
}

} // namespace

// The hot-key layer: identifiers, registrations, events and delivery states.
class HotKeyLayerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(KeyboardLayout::current().useKeymapFromNames(QStringLiteral("us")));
    }

    void init()
    {
        failOnUnexpectedWarnings();
        m_service = startAfresh();
    }

    // Runs first: the identifiers of the process start at 1.
    void identifiersStartAtOneAndCarryTheSignature()
    {
        Calls calls;
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        QCOMPARE(m_service->liveIds(), QList<quint32>{1});
        QCOMPARE(QSet<quint32>(m_service->registeredIds.begin(), m_service->registeredIds.end()),
            QSet<quint32>{1});
        QCOMPARE(m_service->live.begin()->second.id.signature, 0x564E484Bu);
        QCOMPARE(CarbonKeyboardShortcuts::hotKeys(), (QMap<quint32, Shortcut>{{1, controlA}}));
        CarbonKeyboardShortcuts::unregister(controlA);
    }

    void aRefusedRegistrationPrintsItsStatusAndUsesUpAnIdentifier()
    {
        Calls calls;
        m_service->heldByOthers.insert(FakeHotKeyService::combinationOf(commandOne));
        ShortcutConsoleCapture console;
        CarbonKeyboardShortcuts::register_(commandOne, calls.down(), calls.up());
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());

        QCOMPARE(
            console.lines(), QStringList{QStringLiteral("Error registering hotkey ⌘1: -9878")});
        const quint32 refused = m_service->registeredIds.first();
        QCOMPARE(QSet<quint32>(m_service->registeredIds.begin(), m_service->registeredIds.end()),
            (QSet<quint32>{refused, refused + 1}));
        QCOMPARE(m_service->liveIds(), QList<quint32>{refused + 1});
        QCOMPARE(
            CarbonKeyboardShortcuts::hotKeys(), (QMap<quint32, Shortcut>{{refused + 1, controlA}}));
    }

    void aRegistrationRefusedLaterIsReportedAndForgottenLikeOneRefusedAtOnce()
    {
        Calls calls;
        CarbonKeyboardShortcuts::register_(commandOne, calls.down(), calls.up());
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        QVERIFY(m_service->handler);
        const auto refused = m_service->live.begin();
        const quint32 id = refused->second.id.id;
        m_service->live.erase(refused);
        ShortcutConsoleCapture console;
        KeyboardEvent refusal;
        refusal.kind = KeyboardEvent::hotKeyRefused;
        refusal.hotKeyID = {CarbonKeyboardShortcuts::hotKeySignature, id};
        refusal.status = eventHotKeyExistsErr;
        const int unregisterCalls = m_service->unregisterCalls;

        QCOMPARE(m_service->handler(&refusal), noErr);
        QCOMPARE(
            console.lines(), QStringList{QStringLiteral("Error registering hotkey ⌘1: -9878")});
        QVERIFY(!CarbonKeyboardShortcuts::isRegistered(commandOne));
        QVERIFY(CarbonKeyboardShortcuts::isRegistered(controlA));
        QCOMPARE(m_service->unregisterCalls, unregisterCalls);
        // Told twice, or of a registration it never had, the layer has nothing to do.
        QCOMPARE(m_service->handler(&refusal), eventNotHandledErr);
        QCOMPARE(console.lines().size(), 1);
    }

    void theEventHandlerComesWithTheFirstSuccessfulRegistration()
    {
        if (CarbonKeyboardShortcuts::hasEventHandler())
            QSKIP("the handler of an earlier service is still counted");
        Calls calls;
        m_service->heldByOthers.insert(FakeHotKeyService::combinationOf(commandOne));
        ShortcutConsoleCapture console;
        CarbonKeyboardShortcuts::register_(commandOne, calls.down(), calls.up());
        QCOMPARE(m_service->installCalls, 0);
        QVERIFY(!m_service->hotKeyEventsEnabled);
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        QCOMPARE(m_service->installCalls, 1);
        QVERIFY(m_service->hotKeyEventsEnabled);
        CarbonKeyboardShortcuts::register_(optionShiftOne, calls.down(), calls.up());
        QCOMPARE(m_service->installCalls, 1);
    }

    void hotKeyEventsCallTheCallbacksOfTheirIdentifier()
    {
        Calls calls;
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        QCOMPARE(m_service->press(controlA), noErr);
        QCOMPARE(m_service->release(controlA), noErr);
        QCOMPARE(calls.downs, QList<Shortcut>{controlA});
        QCOMPARE(calls.ups, QList<Shortcut>{controlA});
    }

    void eventsOfAnotherSignatureOrAnUnknownIdentifierAreNotHandled()
    {
        Calls calls;
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        const quint32 id = CarbonKeyboardShortcuts::hotKeys().firstKey();
        const auto handle = CarbonKeyboardShortcuts::carbonKeyboardShortcutsEventHandler;

        auto foreign = hotKeyEvent(KeyboardEvent::hotKeyPressed, 0x41424344, id);
        QCOMPARE(handle(&foreign), eventNotHandledErr);
        auto unknown = hotKeyEvent(
            KeyboardEvent::hotKeyPressed, CarbonKeyboardShortcuts::hotKeySignature, id + 100);
        QCOMPARE(handle(&unknown), eventNotHandledErr);
        QCOMPARE(handle(nullptr), eventNotHandledErr);

        CarbonKeyboardShortcuts::unregister(controlA);
        auto gone = hotKeyEvent(
            KeyboardEvent::hotKeyReleased, CarbonKeyboardShortcuts::hotKeySignature, id);
        QCOMPARE(handle(&gone), eventNotHandledErr);
        QVERIFY(calls.downs.isEmpty());
        QVERIFY(calls.ups.isEmpty());

        auto ours = hotKeyEvent(
            KeyboardEvent::hotKeyPressed, CarbonKeyboardShortcuts::hotKeySignature, id);
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        ours.hotKeyID.id = CarbonKeyboardShortcuts::hotKeys().firstKey();
        QCOMPARE(handle(&ours), noErr);
        QCOMPARE(calls.downs.size(), 1);
    }

    void unregisterRemovesEveryEntryOfTheShortcut()
    {
        Calls calls;
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        CarbonKeyboardShortcuts::register_(commandOne, calls.down(), calls.up());
        QCOMPARE(CarbonKeyboardShortcuts::hotKeys().size(), 3);
        CarbonKeyboardShortcuts::unregister(controlA);
        QCOMPARE(CarbonKeyboardShortcuts::hotKeys().values(), QList<Shortcut>{commandOne});
        QCOMPARE(m_service->liveCount(controlA), 0);
        QCOMPARE(m_service->liveCount(commandOne), 1);
    }

    void disablingReleasesEveryHotKeyAndEnablingTakesThemBackUnderTheSameIdentifiers()
    {
        Calls calls;
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        CarbonKeyboardShortcuts::register_(commandOne, calls.down(), calls.up());
        const QList<quint32> ids = CarbonKeyboardShortcuts::hotKeys().keys();

        setEnabled(false);
        QVERIFY(m_service->live.empty());
        QCOMPARE(CarbonKeyboardShortcuts::hotKeys().keys(), ids);
        QVERIFY(!m_service->hotKeyEventsEnabled);

        setEnabled(true);
        QCOMPARE(m_service->liveIds(), ids);
        QVERIFY(m_service->hotKeyEventsEnabled);
        QCOMPARE(m_service->release(commandOne), noErr);
        QCOMPARE(calls.ups, QList<Shortcut>{commandOne});
    }

    void aHotKeyTakenWhileDisabledIsDroppedWhenEnabling()
    {
        Calls calls;
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        CarbonKeyboardShortcuts::register_(commandOne, calls.down(), calls.up());
        setEnabled(false);
        m_service->heldByOthers.insert(FakeHotKeyService::combinationOf(controlA));
        ShortcutConsoleCapture console;
        setEnabled(true);
        QCOMPARE(
            console.lines(), QStringList{QStringLiteral("Error registering hotkey ⌃A: -9878")});
        QCOMPARE(CarbonKeyboardShortcuts::hotKeys().values(), QList<Shortcut>{commandOne});
    }

    void anOpenMenuSwitchesToTheApplicationsKeyEvents()
    {
        Calls calls;
        CarbonKeyboardShortcuts::register_(optionShiftOne, calls.down(), calls.up());
        QWidget widget;
        KeyCounter counter;
        widget.installEventFilter(&counter);

        setMenuOpen(true);
        QVERIFY(m_service->live.empty());
        QVERIFY(!m_service->hotKeyEventsEnabled);

        // Caps Lock and Num Lock ride along and do not matter.
        const quint32 locks = CarbonModifier::alphaLock | CarbonModifier::numLock;
        auto press = nativeKey(QEvent::KeyPress, optionShiftOne, locks);
        QCoreApplication::sendEvent(&widget, &press);
        QCOMPARE(calls.downs, QList<Shortcut>{optionShiftOne});
        QCOMPARE(counter.count, 0);

        auto repeat = nativeKey(QEvent::KeyPress, optionShiftOne, locks, true);
        QCoreApplication::sendEvent(&widget, &repeat);
        QCOMPARE(calls.downs.size(), 1);
        QCOMPARE(counter.count, 1);

        auto other = nativeKey(QEvent::KeyPress, commandOne);
        QCoreApplication::sendEvent(&widget, &other);
        QCOMPARE(counter.count, 2);

        // The modifiers went up first: the release still belongs to the press.
        auto release = nativeKey(QEvent::KeyRelease, Shortcut(Key::one));
        QCoreApplication::sendEvent(&widget, &release);
        QCOMPARE(calls.ups, QList<Shortcut>{optionShiftOne});
        QCOMPARE(counter.count, 2);

        setMenuOpen(false);
        QCOMPARE(m_service->liveCount(optionShiftOne), 1);
        QVERIFY(m_service->hotKeyEventsEnabled);
        auto afterwards = nativeKey(QEvent::KeyPress, optionShiftOne);
        QCoreApplication::sendEvent(&widget, &afterwards);
        QCOMPARE(calls.downs.size(), 1);
        QCOMPARE(counter.count, 3);
    }

    void anOpenMenuClaimsTheKeyFromTheApplicationsShortcuts()
    {
        Calls calls;
        CarbonKeyboardShortcuts::register_(optionShiftOne, calls.down(), calls.up());
        setMenuOpen(true);
        QWidget widget;
        auto override = nativeKey(QEvent::ShortcutOverride, optionShiftOne);
        override.ignore();
        QCoreApplication::sendEvent(&widget, &override);
        QVERIFY(override.isAccepted());
        auto other = nativeKey(QEvent::ShortcutOverride, commandOne);
        other.ignore();
        QCoreApplication::sendEvent(&widget, &other);
        QVERIFY(!other.isAccepted());
        QVERIFY(calls.downs.isEmpty());
    }

    void rawKeyEventsDropEveryBitButTheFiveModifiers()
    {
        Calls calls;
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        KeyboardEvent event;
        event.kind = KeyboardEvent::rawKeyDown;
        event.keyCode = static_cast<quint32>(Key::a.rawValue);
        event.modifiers = CarbonModifier::controlKey | CarbonModifier::alphaLock | 0x40000;
        QCOMPARE(CarbonKeyboardShortcuts::handleRawKeyEvent(event), noErr);
        event.kind = KeyboardEvent::rawKeyRepeat;
        QCOMPARE(CarbonKeyboardShortcuts::handleRawKeyEvent(event), eventNotHandledErr);
        event.kind = KeyboardEvent::rawKeyDown;
        event.modifiers = CarbonModifier::controlKey | CarbonModifier::shiftKey;
        QCOMPARE(CarbonKeyboardShortcuts::handleRawKeyEvent(event), eventNotHandledErr);
        QCOMPARE(calls.downs.size(), 1);
    }

    void withoutADisplayRegistrationFailsWithALine()
    {
        CarbonKeyboardShortcuts::setService(createHotKeyService());
        ShortcutConsoleCapture console;
        const Name name(QStringLiteral("headless"));
        setShortcut(optionShiftOne, name);
        QCOMPARE(
            console.lines(), QStringList{QStringLiteral("Error registering hotkey ⌥⇧1: -9868")});
        QVERIFY(CarbonKeyboardShortcuts::hotKeys().isEmpty());
        int calls = 0;
        onKeyUp(name, [&calls] { ++calls; });
        handleOnKeyUp(optionShiftOne);
        QCOMPARE(calls, 1);
        QCOMPARE(name.shortcut(), optionShiftOne);
    }

    void aStoredShortcutWithoutModifierIsNotRegisteredAndReportedOnce()
    {
        const Name bare(QStringLiteral("bare"));
        // As a hand-edited preferences file has it.
        QVERIFY(Preferences::standard().set(
            bare.preferencesKey(), QString::fromUtf8(Shortcut(Key::a).toJson())));
        ShortcutConsoleCapture console;
        onKeyDown(bare, [] {});
        onKeyUp(bare, [] {});
        disable(bare);
        enable(bare);
        QCOMPARE(console.lines(),
            QStringList{QStringLiteral("Hotkey A not registered: without Control, Option or "
                                       "Command it would take that key from every app")});
        QCOMPARE(m_service->registerCalls, 0);
        QVERIFY(CarbonKeyboardShortcuts::hotKeys().isEmpty());
        QVERIFY(!isHotKeyRegistered(bare));
    }

    void shiftOrFunctionAloneIsNoModifierButAFunctionKeyNeedsNone()
    {
        Calls calls;
        ShortcutConsoleCapture console;
        const Shortcut shiftA(Key::a, ModifierFlag::shift);
        const Shortcut functionB(Key::b.rawValue, CarbonModifier::function);
        const Shortcut escape(Key::escape);
        for (const Shortcut& refused : {shiftA, functionB, escape})
            CarbonKeyboardShortcuts::register_(refused, calls.down(), calls.up());
        QCOMPARE(console.lines().size(), 3);
        QVERIFY(console.lines().first().startsWith(QStringLiteral("Hotkey ⇧A not registered: ")));
        QCOMPARE(m_service->registerCalls, 0);

        for (const Key& key : {Key::f1, Key::f5, Key::f20})
            CarbonKeyboardShortcuts::register_(Shortcut(key), calls.down(), calls.up());
        CarbonKeyboardShortcuts::register_(controlA, calls.down(), calls.up());
        QCOMPARE(m_service->live.size(), size_t(4));
        QCOMPARE(console.lines().size(), 3);
    }

    void anUnknownKeyCodeIsNamedByItsCode()
    {
        Calls calls;
        const Shortcut unknown(99999, CarbonModifier::cmdKey);
        m_service->heldByOthers.insert(FakeHotKeyService::combinationOf(unknown));
        ShortcutConsoleCapture console;
        CarbonKeyboardShortcuts::register_(unknown, calls.down(), calls.up());
        QCOMPARE(console.lines(),
            QStringList{QStringLiteral("Error registering hotkey ⌘ key code 99999: -9878")});
        QCOMPARE(Shortcut(-7).readableDescription(), QStringLiteral("key code -7"));
        QCOMPARE(optionShiftOne.readableDescription(), QStringLiteral("⌥⇧1"));
        QCOMPARE(Shortcut(Key::f5).readableDescription(), QStringLiteral("F5"));
    }

    void namesSharingAShortcutAreReportedInOneLine()
    {
        const Name work(QStringLiteral("work"));
        const Name play(QStringLiteral("play"));
        const Name more(QStringLiteral("more"));
        for (const Name& name : {work, play, more})
            setShortcut(optionShiftOne, name);
        ShortcutConsoleCapture console;
        for (const Name& name : {work, play}) {
            onKeyDown(name, [] {});
            onKeyUp(name, [] {});
        }
        QCOMPARE(console.lines(),
            QStringList{QStringLiteral(
                "Shortcut ⌥⇧1 is shared by play, work; all of them run when it is pressed")});
        onKeyUp(more, [] {});
        QCOMPARE(console.lines().size(), 2);
        QCOMPARE(console.lines().last(),
            QStringLiteral(
                "Shortcut ⌥⇧1 is shared by more, play, work; all of them run when it is pressed"));
        QVERIFY(isHotKeyRegistered(work) && isHotKeyRegistered(play));

        // A name given the shortcut of a bound one, once it is bound itself.
        const Name late(QStringLiteral("late"));
        onKeyUp(late, [] {});
        setShortcut(controlA, late);
        QCOMPARE(console.lines().size(), 2);
        setShortcut(optionShiftOne, late);
        QCOMPARE(console.lines().size(), 3);
        QVERIFY(console.lines().last().startsWith(
            QStringLiteral("Shortcut ⌥⇧1 is shared by late, more, play, work;")));
    }

    void aNameIsRegisteredOnlyWhileTheServiceHoldsItsShortcut()
    {
        const Name name(QStringLiteral("held"));
        QVERIFY(!isHotKeyRegistered(name));
        setShortcut(controlA, name);
        QVERIFY(isHotKeyRegistered(name));
        setEnabled(false);
        QVERIFY(isHotKeyRegistered(name));
        setEnabled(true);
        m_service->heldByOthers.insert(FakeHotKeyService::combinationOf(commandOne));
        ShortcutConsoleCapture console;
        setShortcut(commandOne, name);
        QVERIFY(!isHotKeyRegistered(name));
        setShortcut(std::nullopt, name);
        QVERIFY(!isHotKeyRegistered(name));
    }

    void linuxReservesNothingThatCanBeListed()
    {
        QVERIFY(CarbonKeyboardShortcuts::system().isEmpty());
    }

private:
    FakeHotKeyService* m_service = nullptr;
};

VANTOR_UNIT_TEST_MAIN(HotKeyLayerTest)
#include "tst_keyboard_shortcuts_hotkeys.moc"
