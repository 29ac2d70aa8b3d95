#pragma once

// Test helpers for the shortcut library: a hot-key service that keeps its registrations in
// memory, the capture of the library's console lines, and a clean start for each test.
#include "KeyboardShortcuts/CarbonKeyboardShortcuts.h"
#include "KeyboardShortcuts/ConsoleOutput.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/Preferences.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <map>
#include <utility>

// Shortcuts the tests use again and again.
namespace TestShortcuts {
inline const KeyboardShortcuts::Shortcut optionShiftOne(KeyboardShortcuts::Key::one,
    KeyboardShortcuts::ModifierFlag::option | KeyboardShortcuts::ModifierFlag::shift);
inline const KeyboardShortcuts::Shortcut commandOne(
    KeyboardShortcuts::Key::one, KeyboardShortcuts::ModifierFlag::command);
inline const KeyboardShortcuts::Shortcut controlA(
    KeyboardShortcuts::Key::a, KeyboardShortcuts::ModifierFlag::control);
} // namespace TestShortcuts

// Stands in for the system's hot-key service in tests of logic: registrations live in a map,
// combinations "held by another client" are refused, and presses are simulated.
class FakeHotKeyService final : public KeyboardShortcuts::HotKeyService {
public:
    using OSStatus = KeyboardShortcuts::OSStatus;
    using Combination = std::pair<quint32, quint32>;

    struct Registration {
        Combination combination;
        KeyboardShortcuts::EventHotKeyID id;
    };

    OSStatus registerEventHotKey(quint32 keyCode, quint32 modifiers,
        KeyboardShortcuts::EventHotKeyID id, KeyboardShortcuts::EventHotKeyRef* outRef) override
    {
        ++registerCalls;
        registeredIds.append(id.id);
        *outRef = 0;
        if (heldByOthers.contains({keyCode, modifiers}))
            return KeyboardShortcuts::eventHotKeyExistsErr;
        *outRef = ++lastRef;
        live.emplace(*outRef, Registration{{keyCode, modifiers}, id});
        return KeyboardShortcuts::noErr;
    }

    OSStatus unregisterEventHotKey(KeyboardShortcuts::EventHotKeyRef ref) override
    {
        ++unregisterCalls;
        return live.erase(ref) ? KeyboardShortcuts::noErr : KeyboardShortcuts::eventInternalErr;
    }

    OSStatus installEventHandler(EventHandler newHandler) override
    {
        ++installCalls;
        handler = std::move(newHandler);
        return KeyboardShortcuts::noErr;
    }

    void setHotKeyEventsEnabled(bool enabled) override
    {
        ++eventTypeChanges;
        hotKeyEventsEnabled = enabled;
    }

    // Native scan codes and modifiers are taken as virtual key codes and hot-key modifiers.
    std::optional<KeyboardShortcuts::RawKey> rawKey(
        quint32 nativeScanCode, quint32 nativeModifiers) override
    {
        return KeyboardShortcuts::RawKey{nativeScanCode, nativeModifiers};
    }

    static Combination combinationOf(const KeyboardShortcuts::Shortcut& shortcut)
    {
        return {static_cast<quint32>(shortcut.carbonKeyCode),
            static_cast<quint32>(shortcut.carbonModifiers)};
    }

    int liveCount(const KeyboardShortcuts::Shortcut& shortcut) const
    {
        int count = 0;
        for (const auto& [ref, registration] : live)
            count += registration.combination == combinationOf(shortcut) ? 1 : 0;
        return count;
    }

    // The identifiers of the live registrations, in identifier order.
    QList<quint32> liveIds() const
    {
        QList<quint32> ids;
        for (const auto& [ref, registration] : live)
            ids.append(registration.id.id);
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    // What the system does on a press or release of a registered combination.
    OSStatus deliver(
        KeyboardShortcuts::KeyboardEvent::Kind kind, const KeyboardShortcuts::Shortcut& shortcut)
    {
        if (!handler || !hotKeyEventsEnabled)
            return KeyboardShortcuts::eventNotHandledErr;
        for (const auto& [ref, registration] : live) {
            if (registration.combination == combinationOf(shortcut)) {
                KeyboardShortcuts::KeyboardEvent event;
                event.kind = kind;
                event.hotKeyID = registration.id;
                return handler(&event);
            }
        }
        return KeyboardShortcuts::eventNotHandledErr;
    }
    OSStatus press(const KeyboardShortcuts::Shortcut& shortcut)
    {
        return deliver(KeyboardShortcuts::KeyboardEvent::hotKeyPressed, shortcut);
    }
    OSStatus release(const KeyboardShortcuts::Shortcut& shortcut)
    {
        return deliver(KeyboardShortcuts::KeyboardEvent::hotKeyReleased, shortcut);
    }

    std::map<KeyboardShortcuts::EventHotKeyRef, Registration> live;
    QSet<Combination> heldByOthers;
    QList<quint32> registeredIds;
    KeyboardShortcuts::EventHotKeyRef lastRef = 0;
    EventHandler handler;
    bool hotKeyEventsEnabled = false;
    int registerCalls = 0;
    int unregisterCalls = 0;
    int installCalls = 0;
    int eventTypeChanges = 0;
};

// Collects the shortcut library's console lines while it lives.
class ShortcutConsoleCapture {
public:
    ShortcutConsoleCapture()
        : m_previous(KeyboardShortcuts::ConsoleOutput::setSink(
            [this](const QString& line) { m_lines.append(line); }))
    {
    }
    ~ShortcutConsoleCapture() { KeyboardShortcuts::ConsoleOutput::setSink(m_previous); }
    ShortcutConsoleCapture(const ShortcutConsoleCapture&) = delete;
    ShortcutConsoleCapture& operator=(const ShortcutConsoleCapture&) = delete;

    QStringList lines() const { return m_lines; }
    void clear() { m_lines.clear(); }

private:
    QStringList m_lines;
    KeyboardShortcuts::ConsoleOutput::Sink m_previous;
};

// Forgets handlers, registrations, switches and stored entries of earlier tests, and puts a
// fresh fake service in place; returns it (the library owns it).
inline FakeHotKeyService* startAfresh()
{
    using namespace KeyboardShortcuts;
    ShortcutConsoleCapture quiet;
    removeAllHandlers();
    unregisterAll();
    setPaused(false);
    setMenuOpen(false);
    setEnabled(true);
    QFile::remove(Preferences::standard().filePath());
    auto* fake = new FakeHotKeyService;
    CarbonKeyboardShortcuts::setService(std::unique_ptr<HotKeyService>(fake));
    return fake;
}

// The preferences file as another process would read it.
inline QJsonObject storedPreferences()
{
    QFile file(KeyboardShortcuts::Preferences::standard().filePath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}
