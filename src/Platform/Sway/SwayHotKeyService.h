#pragma once

#include "KeyboardShortcuts/HotKeyService.h"
#include "Platform/Sway/KeyCombination.h"

#include <QJsonObject>
#include <QString>

#include <map>
#include <memory>

namespace Platform::Sway {

class IpcConnection;

// Global hot keys in a sway session: each registration becomes a pair of runtime key
// bindings (press and release) whose command is a `nop` naming it; sway reports them as
// binding events when they run. A combination that sway's configuration binds is taken.
class SwayHotKeyService final : public KeyboardShortcuts::HotKeyService {
public:
    explicit SwayHotKeyService(const QString& socketPath);
    ~SwayHotKeyService() override;

    KeyboardShortcuts::OSStatus registerEventHotKey(quint32 keyCode, quint32 modifiers,
        KeyboardShortcuts::EventHotKeyID id, KeyboardShortcuts::EventHotKeyRef* outRef) override;
    KeyboardShortcuts::OSStatus unregisterEventHotKey(
        KeyboardShortcuts::EventHotKeyRef ref) override;
    KeyboardShortcuts::OSStatus installEventHandler(EventHandler handler) override;
    void setHotKeyEventsEnabled(bool enabled) override;
    std::optional<KeyboardShortcuts::RawKey> rawKey(
        quint32 nativeScanCode, quint32 nativeModifiers) override;
    bool isHeldByAnotherClient(quint32 keyCode, quint32 modifiers) override;

    // The sway combination of a virtual key code and hot-key modifiers; none when the key
    // has no place on a Linux keyboard.
    static std::optional<KeyCombination> combinationOf(quint32 keyCode, quint32 modifiers);

private:
    struct Registration {
        KeyboardShortcuts::EventHotKeyID id;
        KeyCombination combination;
    };

    bool isConfigured(const KeyCombination& combination);
    bool runCommands(const QString& commands);
    void listenForBindings();
    void dispatch(const QJsonObject& event);

    QString m_socketPath;
    std::unique_ptr<IpcConnection> m_commands;
    std::unique_ptr<IpcConnection> m_bindings;
    std::map<KeyboardShortcuts::EventHotKeyRef, Registration> m_registrations;
    KeyboardShortcuts::EventHotKeyRef m_nextRef = 1;
    EventHandler m_handler;
    bool m_enabled = false;
};

} // namespace Platform::Sway
