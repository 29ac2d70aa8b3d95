#pragma once

#include "KeyboardShortcuts/HotKeyService.h"
#include "Platform/NamedHotKeys.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

namespace Platform::Kde {

// Global hot keys through KDE's KGlobalAccel daemon, for a Plasma whose desktop portal has no
// GlobalShortcuts. Every registration becomes an action of the component "vantor", named by
// the portal's shortcut id for the combination, so that both ways keep the same shortcuts in
// KDE's settings. KGlobalAccel answers later: an action it gives no key (another component
// holds it) is refused through the event handler (hotKeyRefused, eventHotKeyExistsErr).
//
// Changes go to KGlobalAccel once per turn of the event loop, as the library unregisters and
// registers every hot key at once when it changes state.
class KGlobalAccelHotKeyService final : public QObject, public KeyboardShortcuts::HotKeyService {
    Q_OBJECT

public:
    static constexpr int timeoutMs = 25000;

    explicit KGlobalAccelHotKeyService(
        const QDBusConnection& bus = QDBusConnection::sessionBus(), QObject* parent = nullptr);
    ~KGlobalAccelHotKeyService() override;

    KeyboardShortcuts::OSStatus registerEventHotKey(quint32 keyCode, quint32 modifiers,
        KeyboardShortcuts::EventHotKeyID id, KeyboardShortcuts::EventHotKeyRef* outRef) override;
    KeyboardShortcuts::OSStatus unregisterEventHotKey(
        KeyboardShortcuts::EventHotKeyRef ref) override;
    KeyboardShortcuts::OSStatus installEventHandler(EventHandler handler) override;
    void setHotKeyEventsEnabled(bool enabled) override;
    std::optional<KeyboardShortcuts::RawKey> rawKey(
        quint32 nativeScanCode, quint32 nativeModifiers) override;
    bool isHeldByAnotherClient(quint32 keyCode, quint32 modifiers) override;

    // False once KGlobalAccel turned out not to be on the bus.
    bool isAvailable() const { return m_availability != Availability::none; }
    // Whether the service itself warns when KGlobalAccel is not there (it does by default);
    // one that falls back to it may rather say so in its own words.
    void setWarnsWhenUnavailable(bool warns) { m_warnsWhenUnavailable = warns; }

Q_SIGNALS:
    void unavailable(const QString& reason);

private Q_SLOTS:
    void onPressed(const QString& componentUnique, const QString& action, qlonglong timestamp);
    void onReleased(const QString& componentUnique, const QString& action, qlonglong timestamp);

private:
    enum class Availability { unknown, some, none };

    struct Held {
        quint64 request = 0;
        int key = 0;
    };

    QDBusMessage call(const QString& method, const QString& action, int key) const;
    void checkAvailability();
    void onUnavailable(const QString& reason);
    void scheduleSync();
    void sync();
    void hold(const QString& action, int key);
    void release(const QString& action);
    void onKeysGiven(const QString& action, quint64 request, const QList<int>& keys);
    void onFailed(const QString& action, quint64 request, const QString& reason);
    void refuseAction(const QString& action, KeyboardShortcuts::OSStatus status);
    void refuseAll(KeyboardShortcuts::OSStatus status);

    QDBusConnection m_bus;
    // Each key is an action, with its Qt key code.
    NamedHotKeys<int> m_keys;
    bool m_syncScheduled = false;
    bool m_warnsWhenUnavailable = true;
    Availability m_availability = Availability::unknown;
    // The actions KGlobalAccel was asked to give a key, by the request that asked.
    QHash<QString, Held> m_held;
    quint64 m_nextRequest = 1;
    QSet<QString> m_heldElsewhere;
};

} // namespace Platform::Kde
