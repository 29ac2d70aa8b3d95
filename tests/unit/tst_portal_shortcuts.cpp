// Global hot keys through the desktop portal's GlobalShortcuts, against a portal that the
// test serves on a private session bus.
#include "KeyboardShortcuts/KeyboardLayout.h"
#include "KeyboardShortcutsTestSupport.h"
#include "Platform/Portal/PortalHotKeyService.h"
#include "Platform/Portal/ShortcutTrigger.h"
#include "Platform/WaylandRawKey.h"

#include "FakeGlobalShortcutsPortal.h"
#include "FakeKGlobalAccel.h"
#include "PrivateBus.h"
#include "TestMain.h"

#include <QDBusConnection>
#include <QSignalSpy>
#include <QTimer>

#include <memory>

using namespace KeyboardShortcuts;
using namespace Platform::Portal;
using namespace TestShortcuts;

namespace {

// The events a service hands to its handler.
struct Events {
    QList<std::pair<KeyboardEvent::Kind, quint32>> received;
    QList<OSStatus> refusals;
    HotKeyService::EventHandler handler()
    {
        return [this](const KeyboardEvent* event) {
            if (event->kind == KeyboardEvent::hotKeyRefused)
                refusals.append(event->status);
            received.append({event->kind, event->hotKeyID.id});
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

const Shortcut controlCommandF5(Key::f5, ModifierFlag::control | ModifierFlag::command);

} // namespace

class PortalShortcutsTest final : public QObject {
    Q_OBJECT

    PrivateBus m_bus;
    int m_portals = 0;
    QString m_portalConnection;
    std::unique_ptr<FakeGlobalShortcutsPortal> m_portal;
    std::unique_ptr<PortalHotKeyService> m_service;

    QDBusConnection client() const
    {
        return QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("client"));
    }

    // A portal of its own for each test, on a connection of its own.
    bool startPortal(bool withGlobalShortcuts = true)
    {
        m_portalConnection = QStringLiteral("portal%1").arg(++m_portals);
        QDBusConnection bus = QDBusConnection::connectToBus(m_bus.address(), m_portalConnection);
        m_portal = std::make_unique<FakeGlobalShortcutsPortal>(bus, withGlobalShortcuts);
        return m_portal->serve();
    }

    void stopPortal()
    {
        if (m_portalConnection.isEmpty())
            return;
        m_portal->withdraw();
        QDBusConnection::disconnectFromBus(m_portalConnection);
        m_portalConnection.clear();
    }

    EventHotKeyRef registerShortcut(const Shortcut& shortcut, quint32 id)
    {
        EventHotKeyRef ref = 0;
        const OSStatus status = m_service->registerEventHotKey(code(shortcut), modifiers(shortcut),
            {CarbonKeyboardShortcuts::hotKeySignature, id}, &ref);
        return status == noErr ? ref : 0;
    }

    // Lets the event loop run a while for what must not happen.
    static void settle() { QTest::qWait(300); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(KeyboardLayout::current().useKeymapFromNames(QStringLiteral("us")));
        // No service directories: a call to a portal that went away must not start the real one.
        QVERIFY(m_bus.start());
        QVERIFY(client().isConnected());
        registerPortalShortcutTypes();
    }

    void cleanupTestCase()
    {
        QDBusConnection::disconnectFromBus(QStringLiteral("client"));
        m_bus.stop();
    }

    void init()
    {
        failOnUnexpectedWarnings();
        QVERIFY(startPortal());
        m_service = std::make_unique<PortalHotKeyService>(client());
    }

    void cleanup()
    {
        startAfresh();
        m_service.reset();
        stopPortal();
        m_portal.reset();
    }

    void triggersTakeTheFormKdeReads()
    {
        // Shift+1 types "!": KDE matches it as Alt+! (Shift gone), a shifted letter keeps Shift.
        QCOMPARE(preferredTrigger(code(optionShiftOne), modifiers(optionShiftOne)),
            QStringLiteral("ALT+exclam"));
        const Shortcut shiftA(Key::a, ModifierFlag::shift | ModifierFlag::control);
        QCOMPARE(preferredTrigger(code(shiftA), modifiers(shiftA)), QStringLiteral("SHIFT+CTRL+a"));
        const Shortcut shiftF2(Key::f2, ModifierFlag::shift);
        QCOMPARE(preferredTrigger(code(shiftF2), modifiers(shiftF2)), QStringLiteral("SHIFT+F2"));
        QCOMPARE(preferredTrigger(code(controlCommandF5), modifiers(controlCommandF5)),
            QStringLiteral("CTRL+LOGO+F5"));
        QCOMPARE(preferredTrigger(code(controlA), modifiers(controlA)), QStringLiteral("CTRL+a"));
        const Shortcut escape(Key::escape, ModifierFlag::command);
        QCOMPARE(preferredTrigger(code(escape), modifiers(escape)), QStringLiteral("LOGO+Escape"));
        const Shortcut pageUp(Key::pageUp, ModifierFlag::option);
        QCOMPARE(preferredTrigger(code(pageUp), modifiers(pageUp)), QStringLiteral("ALT+Page_Up"));
        QCOMPARE(preferredTrigger(99999, 0), std::nullopt);
        QCOMPARE(PortalHotKeyService::shortcutId(code(optionShiftOne), modifiers(optionShiftOne)),
            QStringLiteral("vantor-alt-exclam"));
    }

    void severalRegistrationsMakeOneSessionWithEveryShortcut()
    {
        Events events;
        m_service->installEventHandler(events.handler());
        settle(); // the portal has told its version: nothing holds the session back any more
        QVERIFY(registerShortcut(optionShiftOne, 1));
        QVERIFY(registerShortcut(controlCommandF5, 2));
        QVERIFY(registerShortcut(controlA, 3));

        QTRY_COMPARE(m_portal->bound.size(), 1);
        settle();
        QCOMPARE(m_portal->created.size(), 1);
        QCOMPARE(FakeGlobalShortcutsPortal::preferredTriggers(m_portal->created.first()),
            (QStringList{QStringLiteral("ALT+exclam"), QStringLiteral("CTRL+a"),
                QStringLiteral("CTRL+LOGO+F5")}));
        QCOMPARE(m_portal->bound.first(), m_portal->created.first());
        QCOMPARE(m_portal->created.first().first().id, QStringLiteral("vantor-alt-exclam"));
        QVERIFY(m_service->trigger(QStringLiteral("vantor-ctrl-a")));
        QCOMPARE(*m_service->trigger(QStringLiteral("vantor-ctrl-a")), QStringLiteral("<CTRL+a>"));
        QVERIFY(events.refusals.isEmpty());
        QVERIFY(m_portal->closed.isEmpty());
    }

    void activationsArePressesAndReleasesOfTheirHotKeyWhileEnabled()
    {
        Events events;
        m_service->installEventHandler(events.handler());
        QVERIFY(registerShortcut(optionShiftOne, 11));
        QVERIFY(registerShortcut(controlA, 12));
        QTRY_COMPARE(m_portal->bound.size(), 1);

        m_portal->activate(QStringLiteral("vantor-ctrl-a"));
        settle();
        QVERIFY2(events.received.isEmpty(), "delivered before hot-key events were enabled");

        m_service->setHotKeyEventsEnabled(true);
        m_portal->activate(QStringLiteral("vantor-ctrl-a"));
        m_portal->deactivate(QStringLiteral("vantor-ctrl-a"));
        m_portal->activate(QStringLiteral("vantor-alt-exclam"));
        m_portal->activate(QStringLiteral("vantor-ctrl-z"));
        QTRY_COMPARE(events.received.size(), 3);
        QCOMPARE(events.received,
            (QList<std::pair<KeyboardEvent::Kind, quint32>>{{KeyboardEvent::hotKeyPressed, 12},
                {KeyboardEvent::hotKeyReleased, 12}, {KeyboardEvent::hotKeyPressed, 11}}));

        m_service->setHotKeyEventsEnabled(false);
        m_portal->activate(QStringLiteral("vantor-ctrl-a"));
        settle();
        QCOMPARE(events.received.size(), 3);
    }

    void unregisteringMakesTheSessionAnewWithoutIt()
    {
        Events events;
        m_service->installEventHandler(events.handler());
        m_service->setHotKeyEventsEnabled(true);
        const EventHotKeyRef first = registerShortcut(optionShiftOne, 21);
        QVERIFY(registerShortcut(controlA, 22));
        QTRY_COMPARE(m_portal->bound.size(), 1);
        const QString firstSession = m_portal->session;

        QCOMPARE(m_service->unregisterEventHotKey(first), noErr);
        QTRY_COMPARE(m_portal->bound.size(), 2);
        QCOMPARE(m_portal->closed, QStringList{firstSession});
        QCOMPARE(m_portal->created.size(), 2);
        QCOMPARE(FakeGlobalShortcutsPortal::preferredTriggers(m_portal->created.last()),
            QStringList{QStringLiteral("CTRL+a")});
        // KDE still holds the key of a shortcut left out: its activations go nowhere.
        m_portal->activate(QStringLiteral("vantor-alt-exclam"));
        m_portal->activate(QStringLiteral("vantor-ctrl-a"));
        QTRY_COMPARE(events.received.size(), 1);
        QCOMPARE(events.received.first().second, 22u);
    }

    void unregisteringAndRegisteringAgainInOneTurnLeavesTheSessionAlone()
    {
        const EventHotKeyRef ref = registerShortcut(controlA, 31);
        QTRY_COMPARE(m_portal->bound.size(), 1);
        QCOMPARE(m_service->unregisterEventHotKey(ref), noErr);
        QVERIFY(registerShortcut(controlA, 31));
        settle();
        QCOMPARE(m_portal->created.size(), 1);
        QVERIFY(m_portal->closed.isEmpty());
    }

    void aShortcutBoundWithoutTriggerIsTheLibrarysRegistrationFailure()
    {
        m_portal->refused = QStringList{QStringLiteral("CTRL+a")};
        auto* service = m_service.release();
        CarbonKeyboardShortcuts::setService(std::unique_ptr<HotKeyService>(service));
        int pressed = 0;
        const auto down = [&pressed](const Shortcut&) { ++pressed; };
        ShortcutConsoleCapture console;
        CarbonKeyboardShortcuts::register_(controlA, down, [](const Shortcut&) {});
        CarbonKeyboardShortcuts::register_(optionShiftOne, down, [](const Shortcut&) {});
        QVERIFY(CarbonKeyboardShortcuts::isRegistered(controlA));

        QTRY_COMPARE(
            console.lines(), QStringList{QStringLiteral("Error registering hotkey ⌃A: -9878")});
        QVERIFY(!CarbonKeyboardShortcuts::isRegistered(controlA));
        QVERIFY(CarbonKeyboardShortcuts::isRegistered(optionShiftOne));
        QVERIFY(service->isHeldByAnotherClient(code(controlA), modifiers(controlA)));
        QVERIFY(!service->isHeldByAnotherClient(code(optionShiftOne), modifiers(optionShiftOne)));
        QVERIFY(CarbonKeyboardShortcuts::isReservedBySystem(controlA));
        // The refused shortcut has no key: the session stays as it is.
        settle();
        QCOMPARE(m_portal->created.size(), 1);
        m_portal->activate(QStringLiteral("vantor-alt-exclam"));
        QTRY_COMPARE(pressed, 1);
    }

    // KDE's portal answers with the asked-for trigger even for a key another component holds.
    void aShortcutThatKGlobalAccelGaveNoKeyIsRefused()
    {
        FakeKGlobalAccel globalAccel;
        globalAccel.keyless = QStringList{QStringLiteral("vantor-alt-exclam")};
        QVERIFY(globalAccel.serve(QDBusConnection(m_portalConnection)));
        Events events;
        m_service->installEventHandler(events.handler());
        QVERIFY(registerShortcut(optionShiftOne, 71));
        QVERIFY(registerShortcut(controlA, 72));

        QTRY_COMPARE(events.refusals, QList<OSStatus>{eventHotKeyExistsErr});
        QCOMPARE(events.received.first().second, 71u);
        QVERIFY(m_service->isHeldByAnotherClient(code(optionShiftOne), modifiers(optionShiftOne)));
        QVERIFY(!m_service->isHeldByAnotherClient(code(controlA), modifiers(controlA)));
        QCOMPARE(globalAccel.asked.size(), 2);
        QCOMPARE(globalAccel.asked.first(),
            (QStringList{QStringLiteral("vantor"), QStringLiteral("vantor-alt-exclam"),
                QStringLiteral("vantor"), QStringLiteral("vantor-alt-exclam")}));
        globalAccel.withdraw();
    }

    void aShortcutReboundOnTheDesktopKeepsWorkingWithItsNewTrigger()
    {
        Events events;
        m_service->installEventHandler(events.handler());
        m_service->setHotKeyEventsEnabled(true);
        QVERIFY(registerShortcut(controlA, 41));
        QTRY_COMPARE(
            m_service->trigger(QStringLiteral("vantor-ctrl-a")), QStringLiteral("<CTRL+a>"));
        QSignalSpy changes(m_service.get(), &PortalHotKeyService::triggerChanged);

        m_portal->changeTrigger(QStringLiteral("vantor-ctrl-a"), QStringLiteral("Meta+Alt+B"));
        QTRY_COMPARE(changes.size(), 1);
        QCOMPARE(changes.first(),
            (QVariantList{QStringLiteral("vantor-ctrl-a"), QStringLiteral("Meta+Alt+B")}));
        QCOMPARE(m_service->trigger(QStringLiteral("vantor-ctrl-a")), QStringLiteral("Meta+Alt+B"));
        m_portal->activate(QStringLiteral("vantor-ctrl-a"));
        QTRY_COMPARE(events.received.size(), 1);
        QCOMPARE(events.received.first().second, 41u);
        QCOMPARE(m_portal->created.size(), 1);
    }

    void withoutGlobalShortcutsEveryRegistrationFailsClearly()
    {
        m_service.reset();
        stopPortal();
        QVERIFY(startPortal(false));
        QTest::ignoreMessage(QtWarningMsg,
            QRegularExpression(QStringLiteral("^Global hot keys are not available: the desktop "
                                              "portal offers no GlobalShortcuts .*")));
        m_service = std::make_unique<PortalHotKeyService>(client());
        QSignalSpy unavailable(m_service.get(), &PortalHotKeyService::unavailable);
        Events events;
        m_service->installEventHandler(events.handler());
        QVERIFY(registerShortcut(controlA, 51));

        QTRY_COMPARE(unavailable.size(), 1);
        QCOMPARE(events.refusals, QList<OSStatus>{eventInternalErr});
        QVERIFY(!m_service->isAvailable());
        EventHotKeyRef ref = 0;
        QCOMPARE(m_service->registerEventHotKey(code(controlA), modifiers(controlA),
                     {CarbonKeyboardShortcuts::hotKeySignature, 52}, &ref),
            eventInternalErr);
        settle();
        QVERIFY(m_portal->created.isEmpty());
    }

    void thePortalGoingAwayLeavesTheServiceStanding()
    {
        Events events;
        m_service->installEventHandler(events.handler());
        m_service->setHotKeyEventsEnabled(true);
        QVERIFY(registerShortcut(controlA, 61));
        QTRY_COMPARE(m_portal->bound.size(), 1);

        QTest::ignoreMessage(QtWarningMsg,
            QRegularExpression(
                QStringLiteral("^Global shortcuts portal: the desktop portal went away$")));
        stopPortal();
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(QStringLiteral("^Global shortcuts portal: .*")));
        QVERIFY(registerShortcut(optionShiftOne, 62));
        settle();
        settle();
        QVERIFY(events.received.isEmpty());
        m_service.reset();
    }

    void waylandKeysAreTranslatedForTheRecorder()
    {
        // Qt's Wayland key events: X key code 10 is the 1 key; Shift 1, Mod1 8, Mod4 64.
        const auto key = m_service->rawKey(10, 1 | 8);
        QVERIFY(key);
        QCOMPARE(key->keyCode, quint32(Key::one.rawValue));
        QCOMPARE(key->modifiers, quint32(CarbonModifier::shiftKey | CarbonModifier::optionKey));
        QCOMPARE(m_service->rawKey(38, 64)->modifiers, quint32(CarbonModifier::cmdKey));
        QCOMPARE(m_service->rawKey(0, 0), std::nullopt);
    }
};

VANTOR_UNIT_TEST_MAIN(PortalShortcutsTest)
#include "tst_portal_shortcuts.moc"
