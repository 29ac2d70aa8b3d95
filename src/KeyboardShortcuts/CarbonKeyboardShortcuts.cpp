#include "KeyboardShortcuts/CarbonKeyboardShortcuts.h"

#include "KeyboardShortcuts/ConsoleOutput.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/RawKeyEventMonitor.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSet>

#include <map>

namespace KeyboardShortcuts {
namespace {

struct HotKey {
    Shortcut shortcut;
    quint32 carbonHotKeyId = 0;
    EventHotKeyRef carbonHotKey = 0;
    CarbonKeyboardShortcuts::Callback onKeyDown;
    CarbonKeyboardShortcuts::Callback onKeyUp;
};

struct State {
    std::unique_ptr<HotKeyService> service;
    std::map<quint32, HotKey> hotKeys;
    quint32 hotKeyId = 0;
    bool eventHandler = false;
    QPointer<RawKeyEventMonitor> keyEventMonitor;
    QSet<Shortcut> reportedWithoutModifier;
};

State& state()
{
    static State s;
    return s;
}

EventHotKeyID hotKeyIdentifier(quint32 id)
{
    return {CarbonKeyboardShortcuts::hotKeySignature, id};
}

OSStatus registerWithService(const Shortcut& shortcut, quint32 id, EventHotKeyRef* ref)
{
    return CarbonKeyboardShortcuts::service().registerEventHotKey(
        static_cast<quint32>(shortcut.carbonKeyCode),
        static_cast<quint32>(shortcut.carbonModifiers), hotKeyIdentifier(id), ref);
}

const HotKey* hotKeyWithShortcut(const Shortcut& shortcut)
{
    for (const auto& [id, hotKey] : state().hotKeys) {
        if (hotKey.shortcut == shortcut)
            return &hotKey;
    }
    return nullptr;
}

// Shift alone does not count: with it the key still types a character.
bool isAllowedAsHotKey(const Shortcut& shortcut)
{
    constexpr int modifiers
        = CarbonModifier::cmdKey | CarbonModifier::optionKey | CarbonModifier::controlKey;
    return (shortcut.carbonModifiers & modifiers) != 0 || isFunctionKey(shortcut.key());
}

// The shortcut a raw key event stands for: its modifiers cut down to the five of a shortcut.
Shortcut rawShortcut(quint32 keyCode, quint32 modifiers)
{
    return Shortcut(
        static_cast<int>(keyCode), carbonModifiers(modifierFlags(static_cast<int>(modifiers))));
}

} // namespace

void CarbonKeyboardShortcuts::register_(
    const Shortcut& shortcut, Callback onKeyDown, Callback onKeyUp)
{
    const quint32 id = ++state().hotKeyId;
    if (!isAllowedAsHotKey(shortcut)) {
        printMissingModifier(shortcut);
        return;
    }
    EventHotKeyRef ref = 0;
    const OSStatus status = registerWithService(shortcut, id, &ref);
    if (status != noErr || ref == 0) {
        printRegistrationError(shortcut, status);
        return;
    }
    state().hotKeys[id] = HotKey{shortcut, id, ref, std::move(onKeyDown), std::move(onKeyUp)};
    if (state().eventHandler)
        return;
    const OSStatus installed = service().installEventHandler(
        [](const KeyboardEvent* event) { return carbonKeyboardShortcutsEventHandler(event); });
    if (installed != noErr)
        return;
    state().eventHandler = true;
    updateEventHandler();
}

void CarbonKeyboardShortcuts::unregister(const Shortcut& shortcut)
{
    auto& hotKeys = state().hotKeys;
    for (auto it = hotKeys.begin(); it != hotKeys.end();) {
        if (it->second.shortcut == shortcut) {
            if (it->second.carbonHotKey)
                service().unregisterEventHotKey(it->second.carbonHotKey);
            it = hotKeys.erase(it);
        } else {
            ++it;
        }
    }
}

void CarbonKeyboardShortcuts::updateEventHandler()
{
    if (!state().eventHandler)
        return;
    if (isEnabled() && !isMenuOpen()) {
        softRegisterAll();
        stopKeyEventMonitor();
        service().setHotKeyEventsEnabled(true);
    } else if (isEnabled()) {
        softUnregisterAll();
        service().setHotKeyEventsEnabled(false);
        startKeyEventMonitor();
    } else {
        softUnregisterAll();
        service().setHotKeyEventsEnabled(false);
        stopKeyEventMonitor();
    }
}

QList<Shortcut> CarbonKeyboardShortcuts::system()
{
    // X11 keeps no registry of reserved key combinations: each desktop keeps its own (GNOME in
    // its settings schemas, KDE in kglobalshortcutsrc, window managers in their configuration)
    // and holds them as key grabs. A combination held that way is refused at registration
    // with eventHotKeyExistsErr instead.
    return {};
}

bool CarbonKeyboardShortcuts::isReservedBySystem(const Shortcut& shortcut)
{
    return system().contains(shortcut)
        || service().isHeldByAnotherClient(static_cast<quint32>(shortcut.carbonKeyCode),
            static_cast<quint32>(shortcut.carbonModifiers));
}

OSStatus CarbonKeyboardShortcuts::carbonKeyboardShortcutsEventHandler(const KeyboardEvent* event)
{
    if (!event)
        return eventNotHandledErr;
    switch (event->kind) {
    case KeyboardEvent::hotKeyPressed:
    case KeyboardEvent::hotKeyReleased:
        return handleHotKeyEvent(*event);
    case KeyboardEvent::rawKeyDown:
    case KeyboardEvent::rawKeyUp:
        return handleRawKeyEvent(*event);
    case KeyboardEvent::hotKeyRefused:
        return handleRefusedHotKey(*event);
    default:
        return eventNotHandledErr;
    }
}

OSStatus CarbonKeyboardShortcuts::handleHotKeyEvent(const KeyboardEvent& event)
{
    if (event.hotKeyID.signature != hotKeySignature)
        return eventNotHandledErr;
    const auto it = state().hotKeys.find(event.hotKeyID.id);
    if (it == state().hotKeys.end())
        return eventNotHandledErr;
    // Copies: a callback may unregister its own hot key.
    const HotKey hotKey = it->second;
    switch (event.kind) {
    case KeyboardEvent::hotKeyPressed:
        hotKey.onKeyDown(hotKey.shortcut);
        return noErr;
    case KeyboardEvent::hotKeyReleased:
        hotKey.onKeyUp(hotKey.shortcut);
        return noErr;
    default:
        return eventNotHandledErr;
    }
}

OSStatus CarbonKeyboardShortcuts::handleRawKeyEvent(const KeyboardEvent& event)
{
    const HotKey* found = hotKeyWithShortcut(rawShortcut(event.keyCode, event.modifiers));
    if (!found)
        return eventNotHandledErr;
    const HotKey hotKey = *found;
    switch (event.kind) {
    case KeyboardEvent::rawKeyDown:
        hotKey.onKeyDown(hotKey.shortcut);
        return noErr;
    case KeyboardEvent::rawKeyUp:
        hotKey.onKeyUp(hotKey.shortcut);
        return noErr;
    default:
        return eventNotHandledErr;
    }
}

OSStatus CarbonKeyboardShortcuts::handleRefusedHotKey(const KeyboardEvent& event)
{
    if (event.hotKeyID.signature != hotKeySignature)
        return eventNotHandledErr;
    const auto it = state().hotKeys.find(event.hotKeyID.id);
    if (it == state().hotKeys.end())
        return eventNotHandledErr;
    // The service has dropped the registration already: nothing to unregister.
    printRegistrationError(it->second.shortcut, event.status);
    state().hotKeys.erase(it);
    return noErr;
}

bool CarbonKeyboardShortcuts::isRegistered(const Shortcut& shortcut)
{
    return hotKeyWithShortcut(shortcut) != nullptr;
}

QMap<quint32, Shortcut> CarbonKeyboardShortcuts::hotKeys()
{
    QMap<quint32, Shortcut> result;
    for (const auto& [id, hotKey] : state().hotKeys)
        result.insert(id, hotKey.shortcut);
    return result;
}

bool CarbonKeyboardShortcuts::hasEventHandler()
{
    return state().eventHandler;
}

HotKeyService& CarbonKeyboardShortcuts::service()
{
    if (!state().service)
        state().service = createHotKeyService();
    return *state().service;
}

std::unique_ptr<HotKeyService> CarbonKeyboardShortcuts::setService(
    std::unique_ptr<HotKeyService> service)
{
    stopKeyEventMonitor();
    state().hotKeys.clear();
    state().eventHandler = false;
    state().reportedWithoutModifier.clear();
    return std::exchange(state().service, std::move(service));
}

void CarbonKeyboardShortcuts::softRegisterAll()
{
    auto& hotKeys = state().hotKeys;
    for (auto it = hotKeys.begin(); it != hotKeys.end();) {
        HotKey& hotKey = it->second;
        // A registration that is still live is released first, so it is not held twice.
        if (hotKey.carbonHotKey)
            service().unregisterEventHotKey(std::exchange(hotKey.carbonHotKey, 0));
        EventHotKeyRef ref = 0;
        const OSStatus status = registerWithService(hotKey.shortcut, hotKey.carbonHotKeyId, &ref);
        if (status != noErr || ref == 0) {
            printRegistrationError(hotKey.shortcut, status);
            it = hotKeys.erase(it);
            continue;
        }
        hotKey.carbonHotKey = ref;
        ++it;
    }
}

void CarbonKeyboardShortcuts::softUnregisterAll()
{
    for (auto& [id, hotKey] : state().hotKeys) {
        if (hotKey.carbonHotKey)
            service().unregisterEventHotKey(std::exchange(hotKey.carbonHotKey, 0));
    }
}

void CarbonKeyboardShortcuts::startKeyEventMonitor()
{
    if (!state().keyEventMonitor) {
        state().keyEventMonitor = new RawKeyEventMonitor(
            [](quint32 scanCode, quint32 nativeModifiers) {
                return service().rawKey(scanCode, nativeModifiers);
            },
            [](const RawKey& key) {
                return hotKeyWithShortcut(rawShortcut(key.keyCode, key.modifiers)) != nullptr;
            },
            [](const KeyboardEvent& event) { return handleRawKeyEvent(event); },
            QCoreApplication::instance());
    }
    state().keyEventMonitor->start();
}

void CarbonKeyboardShortcuts::stopKeyEventMonitor()
{
    if (state().keyEventMonitor)
        state().keyEventMonitor->stop();
}

void CarbonKeyboardShortcuts::printRegistrationError(const Shortcut& shortcut, OSStatus status)
{
    ConsoleOutput::print(QStringLiteral("Error registering hotkey ")
        + shortcut.readableDescription() + QStringLiteral(": ") + QString::number(status));
}

void CarbonKeyboardShortcuts::printMissingModifier(const Shortcut& shortcut)
{
    if (state().reportedWithoutModifier.contains(shortcut))
        return;
    state().reportedWithoutModifier.insert(shortcut);
    ConsoleOutput::print(QStringLiteral("Hotkey ") + shortcut.readableDescription()
        + QStringLiteral(" not registered: without Control, Option or Command it would take "
                         "that key from every app"));
}

} // namespace KeyboardShortcuts
