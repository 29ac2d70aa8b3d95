#pragma once

#include "KeyboardShortcuts/HotKeyService.h"
#include "Platform/NamedHotKeys.h"
#include "Platform/Portal/PortalShortcut.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>

#include <memory>
#include <optional>

namespace Platform::Portal {

class GlobalShortcutsPortal;

// Global hot keys through the desktop portal's GlobalShortcuts (KDE Plasma on Wayland). Every
// registration becomes a shortcut of one portal session; a change of the registered set
// opens the session anew with the whole set, once per turn of the event loop, as KDE takes
// shortcuts only when a session is made. The portal answers later: a shortcut it binds
// without a trigger is refused through the event handler (hotKeyRefused, another client
// holds the combination).
//
// A shortcut's id names its combination ("vantor-alt-exclam" for Shift+Alt+1), not its
// registration: KDE keeps the key it first gave an id, and the user's choice, across sessions.
class PortalHotKeyService final : public QObject, public KeyboardShortcuts::HotKeyService {
    Q_OBJECT

public:
    explicit PortalHotKeyService(const QDBusConnection& bus = QDBusConnection::sessionBus(),
        const QString& sessionToken = QStringLiteral("vantor"), QObject* parent = nullptr);
    ~PortalHotKeyService() override;

    KeyboardShortcuts::OSStatus registerEventHotKey(quint32 keyCode, quint32 modifiers,
        KeyboardShortcuts::EventHotKeyID id, KeyboardShortcuts::EventHotKeyRef* outRef) override;
    KeyboardShortcuts::OSStatus unregisterEventHotKey(
        KeyboardShortcuts::EventHotKeyRef ref) override;
    KeyboardShortcuts::OSStatus installEventHandler(EventHandler handler) override;
    void setHotKeyEventsEnabled(bool enabled) override;
    std::optional<KeyboardShortcuts::RawKey> rawKey(
        quint32 nativeScanCode, quint32 nativeModifiers) override;
    bool isHeldByAnotherClient(quint32 keyCode, quint32 modifiers) override;

    // The portal's id of a combination; none when the key has no name in the portal's terms.
    static std::optional<QString> shortcutId(quint32 keyCode, quint32 modifiers);
    // The key the desktop gave the shortcut ("Alt+Shift+1"), as it last said; none before.
    std::optional<QString> trigger(const QString& shortcutId) const;
    // False once the portal turned out to have no GlobalShortcuts.
    bool isAvailable() const { return m_availability != Availability::none; }
    // Whether the service itself warns when the portal has no GlobalShortcuts (it does by
    // default); one that falls back to another way may rather say so in its own words.
    void setWarnsWhenUnavailable(bool warns) { m_warnsWhenUnavailable = warns; }

Q_SIGNALS:
    // The desktop gave the shortcut another key (the user re-bound it in its settings).
    void triggerChanged(const QString& shortcutId, const QString& trigger);
    void unavailable(const QString& reason);

private:
    enum class Availability { unknown, some, none };

    void scheduleSession();
    void openSession();
    PortalShortcuts wantedShortcuts() const;
    void onAvailable();
    void onUnavailable(const QString& reason);
    void onBound(const PortalShortcuts& shortcuts);
    void onShortcutsChanged(const PortalShortcuts& shortcuts);
    void noteTrigger(const QString& shortcutId, const QString& trigger);
    void refuseAll(KeyboardShortcuts::OSStatus status);
    void refuse(KeyboardShortcuts::EventHotKeyRef ref, KeyboardShortcuts::OSStatus status);

    std::unique_ptr<GlobalShortcutsPortal> m_portal;
    // Each key is a shortcut id, with the trigger it asks for.
    NamedHotKeys<QString> m_keys;
    bool m_sessionScheduled = false;
    bool m_warnsWhenUnavailable = true;
    Availability m_availability = Availability::unknown;
    // The set the portal's session holds, or is being made with.
    std::optional<PortalShortcuts> m_sessionShortcuts;
    QHash<QString, QString> m_triggers;
    QSet<QString> m_heldElsewhere;
};

} // namespace Platform::Portal
