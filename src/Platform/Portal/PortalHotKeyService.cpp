#include "Platform/Portal/PortalHotKeyService.h"

#include "Platform/Portal/GlobalShortcutsPortal.h"
#include "Platform/Portal/ShortcutTrigger.h"
#include "Platform/WaylandRawKey.h"
#include "Util/Logging.h"

#include <QTimer>

#include <algorithm>

namespace Platform::Portal {

using namespace KeyboardShortcuts;

PortalHotKeyService::PortalHotKeyService(
    const QDBusConnection& bus, const QString& sessionToken, QObject* parent)
    : QObject(parent), m_portal(std::make_unique<GlobalShortcutsPortal>(bus, sessionToken))
{
    connect(m_portal.get(), &GlobalShortcutsPortal::available, this, [this] { onAvailable(); });
    connect(m_portal.get(), &GlobalShortcutsPortal::unavailable, this,
        [this](const QString& reason) { onUnavailable(reason); });
    connect(m_portal.get(), &GlobalShortcutsPortal::bound, this,
        [this](const PortalShortcuts& shortcuts) { onBound(shortcuts); });
    connect(m_portal.get(), &GlobalShortcutsPortal::shortcutsChanged, this,
        [this](const PortalShortcuts& shortcuts) { onShortcutsChanged(shortcuts); });
    connect(m_portal.get(), &GlobalShortcutsPortal::activated, this,
        [this](const QString& id) { m_keys.deliver(id, KeyboardEvent::hotKeyPressed); });
    connect(m_portal.get(), &GlobalShortcutsPortal::deactivated, this,
        [this](const QString& id) { m_keys.deliver(id, KeyboardEvent::hotKeyReleased); });
    connect(
        m_portal.get(), &GlobalShortcutsPortal::sessionFailed, this, [this](const QString& reason) {
            qCWarning(lcShell).noquote() << "Global shortcuts portal:" << reason;
            // Whatever the portal holds now, the next change makes the session anew.
            m_sessionShortcuts.reset();
        });
    m_portal->checkAvailability();
}

PortalHotKeyService::~PortalHotKeyService() = default;

std::optional<QString> PortalHotKeyService::shortcutId(quint32 keyCode, quint32 modifiers)
{
    const auto trigger = preferredTrigger(keyCode, modifiers);
    if (!trigger)
        return std::nullopt;
    return QStringLiteral("vantor-")
        + trigger->toLower().replace(QLatin1Char('+'), QLatin1Char('-'));
}

OSStatus PortalHotKeyService::registerEventHotKey(
    quint32 keyCode, quint32 modifiers, EventHotKeyID id, EventHotKeyRef* outRef)
{
    const auto trigger = preferredTrigger(keyCode, modifiers);
    if (!trigger)
        return eventHotKeyInvalidErr;
    if (m_availability == Availability::none)
        return eventInternalErr;
    const auto ref = m_keys.add(id, *shortcutId(keyCode, modifiers), *trigger);
    if (!ref)
        return eventHotKeyExistsErr;
    scheduleSession();
    if (outRef)
        *outRef = *ref;
    return noErr;
}

OSStatus PortalHotKeyService::unregisterEventHotKey(EventHotKeyRef ref)
{
    if (!m_keys.remove(ref))
        return eventInternalErr;
    scheduleSession();
    return noErr;
}

OSStatus PortalHotKeyService::installEventHandler(EventHandler handler)
{
    m_keys.setHandler(std::move(handler));
    return noErr;
}

void PortalHotKeyService::setHotKeyEventsEnabled(bool enabled)
{
    m_keys.setEnabled(enabled);
}

std::optional<RawKey> PortalHotKeyService::rawKey(quint32 nativeScanCode, quint32 nativeModifiers)
{
    return waylandRawKey(nativeScanCode, nativeModifiers);
}

bool PortalHotKeyService::isHeldByAnotherClient(quint32 keyCode, quint32 modifiers)
{
    const auto shortcut = shortcutId(keyCode, modifiers);
    return shortcut && m_heldElsewhere.contains(*shortcut);
}

std::optional<QString> PortalHotKeyService::trigger(const QString& shortcutId) const
{
    const auto found = m_triggers.constFind(shortcutId);
    return found == m_triggers.constEnd() ? std::nullopt : std::optional(*found);
}

// The library unregisters and registers every hot key at once when it changes state: the
// session follows only what is left at the end of the turn.
void PortalHotKeyService::scheduleSession()
{
    if (m_sessionScheduled)
        return;
    m_sessionScheduled = true;
    QTimer::singleShot(0, this, [this] {
        m_sessionScheduled = false;
        openSession();
    });
}

void PortalHotKeyService::openSession()
{
    if (m_availability != Availability::some)
        return;
    const PortalShortcuts wanted = wantedShortcuts();
    if (m_sessionShortcuts == wanted)
        return;
    m_sessionShortcuts = wanted;
    m_portal->openSession(wanted);
}

PortalShortcuts PortalHotKeyService::wantedShortcuts() const
{
    PortalShortcuts shortcuts;
    for (const auto& [ref, key] : m_keys.entries()) {
        QVariantMap properties;
        properties.insert(
            QStringLiteral("description"), QStringLiteral("Vantor: %1").arg(key.detail));
        properties.insert(QStringLiteral("preferred_trigger"), key.detail);
        shortcuts.append({key.name, properties});
    }
    std::sort(shortcuts.begin(), shortcuts.end(),
        [](const PortalShortcut& a, const PortalShortcut& b) { return a.id < b.id; });
    return shortcuts;
}

void PortalHotKeyService::onAvailable()
{
    m_availability = Availability::some;
    openSession();
}

void PortalHotKeyService::onUnavailable(const QString& reason)
{
    m_availability = Availability::none;
    if (m_warnsWhenUnavailable) {
        qCWarning(lcShell).noquote()
            << "Global hot keys are not available: the desktop portal offers no GlobalShortcuts"
            << "(" + reason + ")";
    }
    Q_EMIT unavailable(reason);
    refuseAll(eventInternalErr);
}

void PortalHotKeyService::onBound(const PortalShortcuts& shortcuts)
{
    for (const PortalShortcut& shortcut : shortcuts) {
        const QString trigger = shortcut.triggerDescription();
        if (trigger.isEmpty()) {
            m_heldElsewhere.insert(shortcut.id);
        } else {
            m_heldElsewhere.remove(shortcut.id);
            noteTrigger(shortcut.id, trigger);
        }
    }
    for (const QString& shortcut : std::as_const(m_heldElsewhere)) {
        for (const EventHotKeyRef ref : m_keys.refsNamed(shortcut))
            refuse(ref, eventHotKeyExistsErr);
    }
}

void PortalHotKeyService::onShortcutsChanged(const PortalShortcuts& shortcuts)
{
    for (const PortalShortcut& shortcut : shortcuts)
        noteTrigger(shortcut.id, shortcut.triggerDescription());
}

void PortalHotKeyService::noteTrigger(const QString& shortcutId, const QString& trigger)
{
    const auto previous = m_triggers.constFind(shortcutId);
    const bool changed = previous != m_triggers.constEnd() && *previous != trigger;
    m_triggers.insert(shortcutId, trigger);
    if (changed)
        Q_EMIT triggerChanged(shortcutId, trigger);
}

void PortalHotKeyService::refuseAll(OSStatus status)
{
    while (!m_keys.entries().empty())
        refuse(m_keys.entries().begin()->first, status);
}

// The session may keep the refused shortcut: it has no key, and nothing is delivered for it.
void PortalHotKeyService::refuse(EventHotKeyRef ref, OSStatus status)
{
    const auto refused = m_keys.refuse(ref, status);
    if (refused && m_sessionShortcuts) {
        m_sessionShortcuts->removeIf(
            [&refused](const PortalShortcut& held) { return held.id == refused->name; });
    }
}

} // namespace Platform::Portal
