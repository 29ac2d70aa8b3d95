#include "Platform/Kde/KdeHotKeyService.h"

#include "Platform/Kde/KGlobalAccelHotKeyService.h"
#include "Platform/Portal/PortalHotKeyService.h"
#include "Util/Logging.h"

#include <utility>
#include <vector>

namespace Platform::Kde {

using namespace KeyboardShortcuts;

KdeHotKeyService::KdeHotKeyService(const QDBusConnection& bus, QObject* parent)
    : QObject(parent), m_bus(bus), m_portal(std::make_unique<Portal::PortalHotKeyService>(bus))
{
    m_portal->setWarnsWhenUnavailable(false);
    m_portal->installEventHandler(handlerFor(m_portal.get()));
    connect(m_portal.get(), &Portal::PortalHotKeyService::unavailable, this,
        [this](const QString& reason) { fallBack(reason); });
}

KdeHotKeyService::~KdeHotKeyService() = default;

HotKeyService& KdeHotKeyService::active() const
{
    if (m_globalAccel)
        return *m_globalAccel;
    return *m_portal;
}

// The inner services know a registration by the composite's ref, so that their events find
// it whichever service holds it now.
OSStatus KdeHotKeyService::registerWithActive(EventHotKeyRef ref, Registration& registration)
{
    const EventHotKeyID innerId{registration.id.signature, quint32(ref)};
    return active().registerEventHotKey(
        registration.keyCode, registration.modifiers, innerId, &registration.innerRef);
}

OSStatus KdeHotKeyService::registerEventHotKey(
    quint32 keyCode, quint32 modifiers, EventHotKeyID id, EventHotKeyRef* outRef)
{
    const EventHotKeyRef ref = m_nextRef++;
    Registration registration{keyCode, modifiers, id, 0};
    const OSStatus status = registerWithActive(ref, registration);
    if (status != noErr)
        return status;
    m_registrations.emplace(ref, registration);
    if (outRef)
        *outRef = ref;
    return noErr;
}

OSStatus KdeHotKeyService::unregisterEventHotKey(EventHotKeyRef ref)
{
    const auto found = m_registrations.find(ref);
    if (found == m_registrations.end())
        return eventInternalErr;
    const EventHotKeyRef innerRef = found->second.innerRef;
    m_registrations.erase(found);
    return active().unregisterEventHotKey(innerRef);
}

OSStatus KdeHotKeyService::installEventHandler(EventHandler handler)
{
    m_handler = std::move(handler);
    return noErr;
}

void KdeHotKeyService::setHotKeyEventsEnabled(bool enabled)
{
    m_enabled = enabled;
    active().setHotKeyEventsEnabled(enabled);
}

std::optional<RawKey> KdeHotKeyService::rawKey(quint32 nativeScanCode, quint32 nativeModifiers)
{
    return active().rawKey(nativeScanCode, nativeModifiers);
}

bool KdeHotKeyService::isHeldByAnotherClient(quint32 keyCode, quint32 modifiers)
{
    return active().isHeldByAnotherClient(keyCode, modifiers);
}

HotKeyService::EventHandler KdeHotKeyService::handlerFor(const HotKeyService* service)
{
    return [this, service](const KeyboardEvent* event) {
        onEvent(service, *event);
        return noErr;
    };
}

void KdeHotKeyService::fallBack(const QString& portalReason)
{
    qCInfo(lcShell).noquote() << QStringLiteral("The desktop portal offers no GlobalShortcuts "
                                                "(%1): global hot keys go through KGlobalAccel")
                                     .arg(portalReason);
    m_globalAccel = std::make_unique<KGlobalAccelHotKeyService>(m_bus);
    m_globalAccel->setWarnsWhenUnavailable(false);
    connect(m_globalAccel.get(), &KGlobalAccelHotKeyService::unavailable, this,
        [portalReason](const QString& reason) {
            qCWarning(lcShell).noquote()
                << QStringLiteral("Global hot keys are not available: the desktop portal offers "
                                  "no GlobalShortcuts (%1), and KGlobalAccel is not on the "
                                  "session bus (%2)")
                       .arg(portalReason, reason);
        });
    m_globalAccel->installEventHandler(handlerFor(m_globalAccel.get()));
    m_globalAccel->setHotKeyEventsEnabled(m_enabled);
    std::vector<std::pair<EventHotKeyRef, OSStatus>> refused;
    for (auto& [ref, registration] : m_registrations) {
        const OSStatus status = registerWithActive(ref, registration);
        if (status != noErr)
            refused.emplace_back(ref, status);
    }
    // The portal's own refusals of these registrations, which follow, are not passed on.
    for (const auto& [ref, status] : refused)
        refuse(ref, status);
    Q_EMIT fellBackToKGlobalAccel();
}

void KdeHotKeyService::onEvent(const HotKeyService* service, const KeyboardEvent& event)
{
    if (service != &active())
        return;
    const auto found = m_registrations.find(EventHotKeyRef(event.hotKeyID.id));
    if (found == m_registrations.end())
        return;
    KeyboardEvent outer = event;
    outer.hotKeyID = found->second.id;
    if (event.kind == KeyboardEvent::hotKeyRefused)
        m_registrations.erase(found);
    if (m_handler)
        m_handler(&outer);
}

void KdeHotKeyService::refuse(EventHotKeyRef ref, OSStatus status)
{
    const auto found = m_registrations.find(ref);
    if (found == m_registrations.end())
        return;
    KeyboardEvent event;
    event.kind = KeyboardEvent::hotKeyRefused;
    event.hotKeyID = found->second.id;
    event.status = status;
    m_registrations.erase(found);
    if (m_handler)
        m_handler(&event);
}

std::unique_ptr<KdeHotKeyService> createKdeHotKeyService()
{
    return std::make_unique<KdeHotKeyService>(QDBusConnection::sessionBus());
}

} // namespace Platform::Kde
