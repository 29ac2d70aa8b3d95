#pragma once

#include "KeyboardShortcuts/HotKeyService.h"

#include <QDBusConnection>
#include <QObject>

#include <map>
#include <memory>

namespace Platform::Portal {
class PortalHotKeyService;
}

namespace Platform::Kde {

class KGlobalAccelHotKeyService;

// Global hot keys on KDE Plasma: through the desktop portal's GlobalShortcuts, or through
// KGlobalAccel when the portal turns out to have none (Plasma before 5.27, or a portal of
// another desktop). On the switch every live registration moves to KGlobalAccel; the refs
// handed out stay the same.
class KdeHotKeyService final : public QObject, public KeyboardShortcuts::HotKeyService {
    Q_OBJECT

public:
    explicit KdeHotKeyService(
        const QDBusConnection& bus = QDBusConnection::sessionBus(), QObject* parent = nullptr);
    ~KdeHotKeyService() override;

    KeyboardShortcuts::OSStatus registerEventHotKey(quint32 keyCode, quint32 modifiers,
        KeyboardShortcuts::EventHotKeyID id, KeyboardShortcuts::EventHotKeyRef* outRef) override;
    KeyboardShortcuts::OSStatus unregisterEventHotKey(
        KeyboardShortcuts::EventHotKeyRef ref) override;
    KeyboardShortcuts::OSStatus installEventHandler(EventHandler handler) override;
    void setHotKeyEventsEnabled(bool enabled) override;
    std::optional<KeyboardShortcuts::RawKey> rawKey(
        quint32 nativeScanCode, quint32 nativeModifiers) override;
    bool isHeldByAnotherClient(quint32 keyCode, quint32 modifiers) override;

    bool usesKGlobalAccel() const { return m_globalAccel != nullptr; }

Q_SIGNALS:
    void fellBackToKGlobalAccel();

private:
    struct Registration {
        quint32 keyCode = 0;
        quint32 modifiers = 0;
        KeyboardShortcuts::EventHotKeyID id;
        KeyboardShortcuts::EventHotKeyRef innerRef = 0;
    };

    KeyboardShortcuts::HotKeyService& active() const;
    KeyboardShortcuts::OSStatus registerWithActive(
        KeyboardShortcuts::EventHotKeyRef ref, Registration& registration);
    EventHandler handlerFor(const KeyboardShortcuts::HotKeyService* service);
    void fallBack(const QString& portalReason);
    void onEvent(const KeyboardShortcuts::HotKeyService* service,
        const KeyboardShortcuts::KeyboardEvent& event);
    void refuse(KeyboardShortcuts::EventHotKeyRef ref, KeyboardShortcuts::OSStatus status);

    QDBusConnection m_bus;
    std::unique_ptr<Portal::PortalHotKeyService> m_portal;
    std::unique_ptr<KGlobalAccelHotKeyService> m_globalAccel;
    std::map<KeyboardShortcuts::EventHotKeyRef, Registration> m_registrations;
    KeyboardShortcuts::EventHotKeyRef m_nextRef = 1;
    EventHandler m_handler;
    bool m_enabled = false;
};

// KDE's hot-key service for this session bus.
std::unique_ptr<KdeHotKeyService> createKdeHotKeyService();

} // namespace Platform::Kde
