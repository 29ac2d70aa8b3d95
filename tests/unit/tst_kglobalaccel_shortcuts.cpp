// Global hot keys through KDE's KGlobalAccel, and KDE's hot-key service that falls back to it
// when the desktop portal has no GlobalShortcuts, against fakes that the test serves on a
// private session bus.
#include "KeyboardShortcuts/KeyboardLayout.h"
#include "KeyboardShortcutsTestSupport.h"
#include "Platform/Kde/KGlobalAccelHotKeyService.h"
#include "Platform/Kde/KdeHotKeyService.h"
#include "Platform/Kde/KdeKeyCode.h"

#include "FakeGlobalShortcutsPortal.h"
#include "FakeKGlobalAccel.h"
#include "PrivateBus.h"
#include "TestMain.h"

#include <QDBusConnection>
#include <QSignalSpy>

#include <memory>

using namespace KeyboardShortcuts;
using namespace Platform::Kde;
using namespace TestShortcuts;

namespace {

// The events a service hands to its handler.
struct Events {
    QList<std::pair<KeyboardEvent::Kind, quint32>> received;
    QList<OSStatus> refusals;
    QList<quint32> signatures;
    HotKeyService::EventHandler handler()
    {
        return [this](const KeyboardEvent* event) {
            if (event->kind == KeyboardEvent::hotKeyRefused)
                refusals.append(event->status);
            received.append({event->kind, event->hotKeyID.id});
            signatures.append(event->hotKeyID.signature);
            return noErr;
        };
    }
};

quint32 code(const Shortcut& shortcut)
{
    return quint32(shortcut.carbonKeyCode);
}
quint32 modifiers(const Shortcut& shortcut)
{
    return quint32(shortcut.carbonModifiers);
}

int qtKey(QKeyCombination combination)
{
    return combination.toCombined();
}

const Shortcut commandA(Key::a, ModifierFlag::command);
const Shortcut controlCommandF5(Key::f5, ModifierFlag::control | ModifierFlag::command);

const QString component = QStringLiteral("vantor");

// What KGlobalAccel was asked to do with each action, by the action's id in the component.
QMap<QString, QList<int>> keysByAction(const QList<FakeKGlobalAccel::KeysAsked>& asked)
{
    QMap<QString, QList<int>> keys;
    for (const FakeKGlobalAccel::KeysAsked& each : asked)
        keys.insert(each.action.value(1), each.keys);
    return keys;
}

} // namespace

class KGlobalAccelShortcutsTest final : public QObject {
    Q_OBJECT

    PrivateBus m_bus;
    int m_connections = 0;
    QStringList m_fakeConnections;
    std::unique_ptr<FakeKGlobalAccel> m_globalAccel;
    std::unique_ptr<FakeGlobalShortcutsPortal> m_portal;
    std::unique_ptr<KGlobalAccelHotKeyService> m_service;

    QDBusConnection client() const
    {
        return QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("client"));
    }

    // Each fake on a connection of its own, new for each test.
    QDBusConnection fakeConnection()
    {
        const QString name = QStringLiteral("fake%1").arg(++m_connections);
        m_fakeConnections.append(name);
        return QDBusConnection::connectToBus(m_bus.address(), name);
    }

    bool startGlobalAccel()
    {
        m_globalAccel = std::make_unique<FakeKGlobalAccel>();
        return m_globalAccel->serve(fakeConnection());
    }

    bool startPortal(bool withGlobalShortcuts)
    {
        m_portal
            = std::make_unique<FakeGlobalShortcutsPortal>(fakeConnection(), withGlobalShortcuts);
        return m_portal->serve();
    }

    static EventHotKeyRef registerShortcut(
        HotKeyService& service, const Shortcut& shortcut, quint32 id)
    {
        EventHotKeyRef ref = 0;
        const OSStatus status = service.registerEventHotKey(code(shortcut), modifiers(shortcut),
            {CarbonKeyboardShortcuts::hotKeySignature, id}, &ref);
        return status == noErr ? ref : 0;
    }
    EventHotKeyRef registerShortcut(const Shortcut& shortcut, quint32 id)
    {
        return registerShortcut(*m_service, shortcut, id);
    }

    // Lets the event loop run a while for what must not happen.
    static void settle() { QTest::qWait(300); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(KeyboardLayout::current().useKeymapFromNames(QStringLiteral("us")));
        QVERIFY(m_bus.start());
        QVERIFY(client().isConnected());
    }

    void cleanupTestCase()
    {
        QDBusConnection::disconnectFromBus(QStringLiteral("client"));
        m_bus.stop();
    }

    void init() { failOnUnexpectedWarnings(); }

    void cleanup()
    {
        startAfresh();
        m_service.reset();
        if (m_globalAccel)
            m_globalAccel->withdraw();
        if (m_portal)
            m_portal->withdraw();
        for (const QString& name : std::exchange(m_fakeConnections, {}))
            QDBusConnection::disconnectFromBus(name);
        m_globalAccel.reset();
        m_portal.reset();
    }

    void keysAreQtKeyCodesAsKdeMatchesThem()
    {
        QCOMPARE(
            kdeKeyCode(code(commandA), modifiers(commandA)), qtKey(Qt::MetaModifier | Qt::Key_A));
        QCOMPARE(kdeKeyCode(code(controlA), modifiers(controlA)),
            qtKey(Qt::ControlModifier | Qt::Key_A));
        // Shift+1 types "!": KDE matches it as Alt+!, Shift gone; a shifted letter keeps Shift.
        QCOMPARE(kdeKeyCode(code(optionShiftOne), modifiers(optionShiftOne)),
            qtKey(Qt::AltModifier | Qt::Key_Exclam));
        const Shortcut shiftControlA(Key::a, ModifierFlag::shift | ModifierFlag::control);
        QCOMPARE(kdeKeyCode(code(shiftControlA), modifiers(shiftControlA)),
            qtKey(Qt::ShiftModifier | Qt::ControlModifier | Qt::Key_A));
        QCOMPARE(kdeKeyCode(code(controlCommandF5), modifiers(controlCommandF5)),
            qtKey(Qt::ControlModifier | Qt::MetaModifier | Qt::Key_F5));
        const Shortcut shiftSlash(Key::slash, ModifierFlag::shift | ModifierFlag::command);
        QCOMPARE(kdeKeyCode(code(shiftSlash), modifiers(shiftSlash)),
            qtKey(Qt::MetaModifier | Qt::Key_Question));
        const Shortcut pageUp(Key::pageUp, ModifierFlag::option);
        QCOMPARE(
            kdeKeyCode(code(pageUp), modifiers(pageUp)), qtKey(Qt::AltModifier | Qt::Key_PageUp));
        const Shortcut keypadFive(Key::keypad5, ModifierFlag::control);
        QCOMPARE(kdeKeyCode(code(keypadFive), modifiers(keypadFive)),
            qtKey(Qt::ControlModifier | Qt::KeypadModifier | Qt::Key_5));
        const Shortcut space(Key::space, ModifierFlag::command);
        QCOMPARE(
            kdeKeyCode(code(space), modifiers(space)), qtKey(Qt::MetaModifier | Qt::Key_Space));
        QCOMPARE(kdeKeyCode(99999, 0), std::nullopt);
    }

    void registeringGivesKGlobalAccelTheActionWithItsKey()
    {
        QVERIFY(startGlobalAccel());
        m_service = std::make_unique<KGlobalAccelHotKeyService>(client());
        Events events;
        m_service->installEventHandler(events.handler());
        QVERIFY(registerShortcut(commandA, 1));
        QVERIFY(registerShortcut(controlA, 2));
        QVERIFY(registerShortcut(optionShiftOne, 3));
        QVERIFY(registerShortcut(controlCommandF5, 4));

        QTRY_COMPARE(m_globalAccel->keysAsked.size(), 4);
        const QMap<QString, QList<int>> expected{
            {QStringLiteral("vantor-logo-a"), {qtKey(Qt::MetaModifier | Qt::Key_A)}},
            {QStringLiteral("vantor-ctrl-a"), {qtKey(Qt::ControlModifier | Qt::Key_A)}},
            {QStringLiteral("vantor-alt-exclam"), {qtKey(Qt::AltModifier | Qt::Key_Exclam)}},
            {QStringLiteral("vantor-ctrl-logo-f5"),
                {qtKey(Qt::ControlModifier | Qt::MetaModifier | Qt::Key_F5)}}};
        QCOMPARE(keysByAction(m_globalAccel->keysAsked), expected);
        for (const FakeKGlobalAccel::KeysAsked& asked : m_globalAccel->keysAsked) {
            // SetPresent | NoAutoloading: the key given, not one kept from before.
            QCOMPARE(asked.flags, 6u);
            QCOMPARE(asked.action.size(), 4);
            QCOMPARE(asked.action.value(0), component);
            QCOMPARE(asked.action.value(2), QStringLiteral("Vantor"));
            const QString action = asked.action.value(1);
            // Each action is registered before it is given its key.
            QVERIFY(m_globalAccel->calls.indexOf(QStringLiteral("doRegister ") + action)
                < m_globalAccel->calls.indexOf(QStringLiteral("setShortcut ") + action));
        }
        QCOMPARE(m_globalAccel->registered.size(), 4);
        QMap<QString, QString> friendlyNames;
        for (const FakeKGlobalAccel::KeysAsked& asked : m_globalAccel->keysAsked)
            friendlyNames.insert(asked.action.value(1), asked.action.value(3));
        QCOMPARE(
            friendlyNames.value(QStringLiteral("vantor-logo-a")), QStringLiteral("Vantor: Meta+A"));
        QCOMPARE(friendlyNames.value(QStringLiteral("vantor-alt-exclam")),
            QStringLiteral("Vantor: Alt+!"));
        settle();
        QVERIFY(events.refusals.isEmpty());
        QVERIFY(m_globalAccel->unregistered.isEmpty());
    }

    void pressesAndReleasesReachTheHandlerWhileEnabled()
    {
        QVERIFY(startGlobalAccel());
        m_service = std::make_unique<KGlobalAccelHotKeyService>(client());
        Events events;
        m_service->installEventHandler(events.handler());
        QVERIFY(registerShortcut(optionShiftOne, 11));
        QVERIFY(registerShortcut(controlA, 12));
        QTRY_COMPARE(m_globalAccel->keysAsked.size(), 2);

        m_globalAccel->press(component, QStringLiteral("vantor-ctrl-a"));
        settle();
        QVERIFY2(events.received.isEmpty(), "delivered before hot-key events were enabled");

        m_service->setHotKeyEventsEnabled(true);
        m_globalAccel->press(component, QStringLiteral("vantor-ctrl-a"));
        m_globalAccel->release(component, QStringLiteral("vantor-ctrl-a"));
        m_globalAccel->press(QStringLiteral("kwin"), QStringLiteral("vantor-ctrl-a"));
        m_globalAccel->press(component, QStringLiteral("vantor-ctrl-z"));
        m_globalAccel->press(component, QStringLiteral("vantor-alt-exclam"));
        QTRY_COMPARE(events.received.size(), 3);
        settle();
        QCOMPARE(events.received,
            (QList<std::pair<KeyboardEvent::Kind, quint32>>{{KeyboardEvent::hotKeyPressed, 12},
                {KeyboardEvent::hotKeyReleased, 12}, {KeyboardEvent::hotKeyPressed, 11}}));
        QCOMPARE(events.signatures.first(), CarbonKeyboardShortcuts::hotKeySignature);

        m_service->setHotKeyEventsEnabled(false);
        m_globalAccel->press(component, QStringLiteral("vantor-ctrl-a"));
        settle();
        QCOMPARE(events.received.size(), 3);
    }

    void aKeyAnotherComponentHoldsIsRefused()
    {
        QVERIFY(startGlobalAccel());
        m_globalAccel->heldElsewhere = {qtKey(Qt::ControlModifier | Qt::Key_A)};
        m_service = std::make_unique<KGlobalAccelHotKeyService>(client());
        Events events;
        m_service->installEventHandler(events.handler());
        m_service->setHotKeyEventsEnabled(true);
        const EventHotKeyRef refused = registerShortcut(controlA, 21);
        QVERIFY(refused);
        QVERIFY(registerShortcut(optionShiftOne, 22));

        QTRY_COMPARE(events.refusals, QList<OSStatus>{eventHotKeyExistsErr});
        QCOMPARE(events.received.first(), std::pair(KeyboardEvent::hotKeyRefused, 21u));
        QVERIFY(m_service->isHeldByAnotherClient(code(controlA), modifiers(controlA)));
        QVERIFY(!m_service->isHeldByAnotherClient(code(optionShiftOne), modifiers(optionShiftOne)));
        // The action that got no key is not left behind in KDE's settings.
        QTRY_COMPARE(m_globalAccel->unregistered.size(), 1);
        QCOMPARE(m_globalAccel->unregistered.first().value(1), QStringLiteral("vantor-ctrl-a"));
        QCOMPARE(m_service->unregisterEventHotKey(refused), eventInternalErr);
        m_globalAccel->press(component, QStringLiteral("vantor-ctrl-a"));
        m_globalAccel->press(component, QStringLiteral("vantor-alt-exclam"));
        QTRY_COMPARE(events.received.size(), 2);
        QCOMPARE(events.received.last(), std::pair(KeyboardEvent::hotKeyPressed, 22u));
    }

    void aRefusalIsTheLibrarysRegistrationFailure()
    {
        QVERIFY(startGlobalAccel());
        m_globalAccel->heldElsewhere = {qtKey(Qt::ControlModifier | Qt::Key_A)};
        CarbonKeyboardShortcuts::setService(std::make_unique<KGlobalAccelHotKeyService>(client()));
        ShortcutConsoleCapture console;
        CarbonKeyboardShortcuts::register_(
            controlA, [](const Shortcut&) {}, [](const Shortcut&) {});

        QTRY_COMPARE(
            console.lines(), QStringList{QStringLiteral("Error registering hotkey ⌃A: -9878")});
        QVERIFY(!CarbonKeyboardShortcuts::isRegistered(controlA));
        QVERIFY(CarbonKeyboardShortcuts::isReservedBySystem(controlA));
    }

    void unregisteringFreesTheKey()
    {
        QVERIFY(startGlobalAccel());
        m_service = std::make_unique<KGlobalAccelHotKeyService>(client());
        Events events;
        m_service->installEventHandler(events.handler());
        m_service->setHotKeyEventsEnabled(true);
        const EventHotKeyRef ref = registerShortcut(controlA, 31);
        QVERIFY(registerShortcut(optionShiftOne, 32));
        QTRY_COMPARE(m_globalAccel->keysAsked.size(), 2);

        QCOMPARE(m_service->unregisterEventHotKey(ref), noErr);
        QTRY_COMPARE(m_globalAccel->unregistered.size(), 1);
        QCOMPARE(m_globalAccel->unregistered.first(),
            (QStringList{component, QStringLiteral("vantor-ctrl-a"), QStringLiteral("Vantor"),
                QStringLiteral("Vantor: Ctrl+A")}));
        m_globalAccel->press(component, QStringLiteral("vantor-ctrl-a"));
        m_globalAccel->press(component, QStringLiteral("vantor-alt-exclam"));
        QTRY_COMPARE(events.received.size(), 1);
        QCOMPARE(events.received.first().second, 32u);
        QCOMPARE(m_service->unregisterEventHotKey(ref), eventInternalErr);
    }

    void unregisteringAndRegisteringAgainInOneTurnLeavesKGlobalAccelAlone()
    {
        QVERIFY(startGlobalAccel());
        m_service = std::make_unique<KGlobalAccelHotKeyService>(client());
        const EventHotKeyRef ref = registerShortcut(controlA, 41);
        QTRY_COMPARE(m_globalAccel->keysAsked.size(), 1);
        QCOMPARE(m_service->unregisterEventHotKey(ref), noErr);
        QVERIFY(registerShortcut(controlA, 41));
        settle();
        QCOMPARE(m_globalAccel->calls,
            (QStringList{QStringLiteral("doRegister vantor-ctrl-a"),
                QStringLiteral("setShortcut vantor-ctrl-a")}));
    }

    void aServiceGoneLeavesItsActionsInactive()
    {
        QVERIFY(startGlobalAccel());
        m_service = std::make_unique<KGlobalAccelHotKeyService>(client());
        QVERIFY(registerShortcut(controlA, 51));
        QTRY_COMPARE(m_globalAccel->keysAsked.size(), 1);
        m_service.reset();
        QTRY_COMPARE(m_globalAccel->inactive.size(), 1);
        QCOMPARE(m_globalAccel->inactive.first().value(1), QStringLiteral("vantor-ctrl-a"));
        QVERIFY(m_globalAccel->unregistered.isEmpty());
    }

    void withoutKGlobalAccelEveryRegistrationFailsClearly()
    {
        QTest::ignoreMessage(QtWarningMsg,
            QRegularExpression(QStringLiteral(
                "^Global hot keys are not available: KGlobalAccel is not on the session bus .*")));
        m_service = std::make_unique<KGlobalAccelHotKeyService>(client());
        QSignalSpy unavailable(m_service.get(), &KGlobalAccelHotKeyService::unavailable);
        Events events;
        m_service->installEventHandler(events.handler());
        QVERIFY(registerShortcut(controlA, 61));

        QTRY_COMPARE(unavailable.size(), 1);
        QCOMPARE(events.refusals, QList<OSStatus>{eventInternalErr});
        QVERIFY(!m_service->isAvailable());
        EventHotKeyRef ref = 0;
        QCOMPARE(m_service->registerEventHotKey(code(controlA), modifiers(controlA),
                     {CarbonKeyboardShortcuts::hotKeySignature, 62}, &ref),
            eventInternalErr);
    }

    void kdeServiceUsesThePortalWhenItHasGlobalShortcuts()
    {
        QVERIFY(startPortal(true));
        QVERIFY(startGlobalAccel());
        KdeHotKeyService service(client());
        Events events;
        service.installEventHandler(events.handler());
        service.setHotKeyEventsEnabled(true);
        QVERIFY(registerShortcut(service, controlA, 71));

        QTRY_COMPARE(m_portal->bound.size(), 1);
        m_portal->activate(QStringLiteral("vantor-ctrl-a"));
        QTRY_COMPARE(events.received.size(), 1);
        QCOMPARE(events.received.first(), std::pair(KeyboardEvent::hotKeyPressed, 71u));
        QVERIFY(!service.usesKGlobalAccel());
        QVERIFY(m_globalAccel->keysAsked.isEmpty());
    }

    void kdeServiceFallsBackToKGlobalAccelWithoutPortalGlobalShortcuts()
    {
        QVERIFY(startPortal(false));
        QVERIFY(startGlobalAccel());
        KdeHotKeyService service(client());
        QSignalSpy fellBack(&service, &KdeHotKeyService::fellBackToKGlobalAccel);
        Events events;
        service.installEventHandler(events.handler());
        service.setHotKeyEventsEnabled(true);
        // Registered before the portal has answered, and after.
        const EventHotKeyRef first = registerShortcut(service, controlA, 81);
        QVERIFY(first);
        QTRY_COMPARE(fellBack.size(), 1);
        const EventHotKeyRef second = registerShortcut(service, optionShiftOne, 82);
        QVERIFY(second);

        QTRY_COMPARE(m_globalAccel->keysAsked.size(), 2);
        QCOMPARE(keysByAction(m_globalAccel->keysAsked).keys(),
            (QStringList{QStringLiteral("vantor-alt-exclam"), QStringLiteral("vantor-ctrl-a")}));
        QVERIFY(service.usesKGlobalAccel());
        QVERIFY(m_portal->created.isEmpty());
        m_globalAccel->press(component, QStringLiteral("vantor-ctrl-a"));
        m_globalAccel->release(component, QStringLiteral("vantor-alt-exclam"));
        QTRY_COMPARE(events.received.size(), 2);
        QCOMPARE(events.received,
            (QList<std::pair<KeyboardEvent::Kind, quint32>>{
                {KeyboardEvent::hotKeyPressed, 81}, {KeyboardEvent::hotKeyReleased, 82}}));
        QCOMPARE(events.signatures.first(), CarbonKeyboardShortcuts::hotKeySignature);

        // The ref handed out before the switch still names the registration.
        QCOMPARE(service.unregisterEventHotKey(first), noErr);
        QTRY_COMPARE(m_globalAccel->unregistered.size(), 1);
        QCOMPARE(m_globalAccel->unregistered.first().value(1), QStringLiteral("vantor-ctrl-a"));
        QVERIFY(events.refusals.isEmpty());
    }

    void kdeServiceRefusesKeysKGlobalAccelGivesToOthers()
    {
        QVERIFY(startPortal(false));
        QVERIFY(startGlobalAccel());
        m_globalAccel->heldElsewhere = {qtKey(Qt::ControlModifier | Qt::Key_A)};
        KdeHotKeyService service(client());
        Events events;
        service.installEventHandler(events.handler());
        const EventHotKeyRef ref = registerShortcut(service, controlA, 91);
        QVERIFY(ref);

        QTRY_COMPARE(events.refusals, QList<OSStatus>{eventHotKeyExistsErr});
        QCOMPARE(events.received.first().second, 91u);
        QVERIFY(service.isHeldByAnotherClient(code(controlA), modifiers(controlA)));
        QCOMPARE(service.unregisterEventHotKey(ref), eventInternalErr);
    }

    void kdeServiceWithNeitherFailsEveryRegistrationWithOneWarning()
    {
        QVERIFY(startPortal(false));
        QTest::ignoreMessage(QtWarningMsg,
            QRegularExpression(QStringLiteral(
                "^Global hot keys are not available: the desktop portal offers no GlobalShortcuts "
                "\\(.*\\), and KGlobalAccel is not on the session bus \\(.*\\)$")));
        KdeHotKeyService service(client());
        QSignalSpy fellBack(&service, &KdeHotKeyService::fellBackToKGlobalAccel);
        Events events;
        service.installEventHandler(events.handler());
        QVERIFY(registerShortcut(service, controlA, 101));

        QTRY_COMPARE(events.refusals, QList<OSStatus>{eventInternalErr});
        QCOMPARE(events.received.first().second, 101u);
        EventHotKeyRef ref = 0;
        QCOMPARE(service.registerEventHotKey(code(controlA), modifiers(controlA),
                     {CarbonKeyboardShortcuts::hotKeySignature, 102}, &ref),
            eventInternalErr);
        settle();
        QCOMPARE(events.refusals.size(), 1);
    }

    void waylandKeysAreTranslatedForTheRecorder()
    {
        QVERIFY(startGlobalAccel());
        m_service = std::make_unique<KGlobalAccelHotKeyService>(client());
        // Qt's Wayland key events: X key code 10 is the 1 key; Shift 1, Mod1 8.
        const auto key = m_service->rawKey(10, 1 | 8);
        QVERIFY(key);
        QCOMPARE(key->keyCode, quint32(Key::one.rawValue));
        QCOMPARE(key->modifiers, quint32(CarbonModifier::shiftKey | CarbonModifier::optionKey));
    }
};

VANTOR_UNIT_TEST_MAIN(KGlobalAccelShortcutsTest)
#include "tst_kglobalaccel_shortcuts.moc"
