#include "Platform/Kde/KGlobalAccelHotKeyService.h"

#include "Platform/Kde/KdeKeyCode.h"
#include "Platform/Portal/PortalHotKeyService.h"
#include "Platform/WaylandRawKey.h"
#include "Util/Logging.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QKeySequence>
#include <QTimer>

#include <algorithm>

namespace Platform::Kde {

using namespace KeyboardShortcuts;

namespace {

const QLatin1String service("org.kde.kglobalaccel");
const QLatin1String path("/kglobalaccel");
const QLatin1String interface("org.kde.KGlobalAccel");
const QLatin1String componentInterface("org.kde.kglobalaccel.Component");
const QLatin1String component("vantor");
const QLatin1String componentName("Vantor");

// setShortcut's flags: the action is there now, and takes the keys given rather than the
// ones KGlobalAccel kept for it.
constexpr uint setPresent = 2;
constexpr uint noAutoloading = 4;

bool holdsNoKey(const QList<int>& keys)
{
    return std::all_of(keys.begin(), keys.end(), [](int key) { return key == 0; });
}

} // namespace

KGlobalAccelHotKeyService::KGlobalAccelHotKeyService(const QDBusConnection& bus, QObject* parent)
    : QObject(parent), m_bus(bus)
{
    const QString componentPath = QStringLiteral("/component/") + component;
    m_bus.connect(service, componentPath, componentInterface,
        QStringLiteral("globalShortcutPressed"), this,
        SLOT(onPressed(QString, QString, qlonglong)));
    m_bus.connect(service, componentPath, componentInterface,
        QStringLiteral("globalShortcutReleased"), this,
        SLOT(onReleased(QString, QString, qlonglong)));
    checkAvailability();
}

// Like KDE's own applications on quitting: the actions stay in KDE's settings, their keys
// free for others until Vantor asks for them again.
KGlobalAccelHotKeyService::~KGlobalAccelHotKeyService()
{
    for (auto held = m_held.cbegin(); held != m_held.cend(); ++held)
        m_bus.send(call(QStringLiteral("setInactive"), held.key(), held->key));
}

OSStatus KGlobalAccelHotKeyService::registerEventHotKey(
    quint32 keyCode, quint32 modifiers, EventHotKeyID id, EventHotKeyRef* outRef)
{
    const auto key = kdeKeyCode(keyCode, modifiers);
    if (!key)
        return eventHotKeyInvalidErr;
    if (m_availability == Availability::none)
        return eventInternalErr;
    const QString action = *Portal::PortalHotKeyService::shortcutId(keyCode, modifiers);
    const auto ref = m_keys.add(id, action, *key);
    if (!ref)
        return eventHotKeyExistsErr;
    scheduleSync();
    if (outRef)
        *outRef = *ref;
    return noErr;
}

OSStatus KGlobalAccelHotKeyService::unregisterEventHotKey(EventHotKeyRef ref)
{
    if (!m_keys.remove(ref))
        return eventInternalErr;
    scheduleSync();
    return noErr;
}

OSStatus KGlobalAccelHotKeyService::installEventHandler(EventHandler handler)
{
    m_keys.setHandler(std::move(handler));
    return noErr;
}

void KGlobalAccelHotKeyService::setHotKeyEventsEnabled(bool enabled)
{
    m_keys.setEnabled(enabled);
}

std::optional<RawKey> KGlobalAccelHotKeyService::rawKey(
    quint32 nativeScanCode, quint32 nativeModifiers)
{
    return waylandRawKey(nativeScanCode, nativeModifiers);
}

bool KGlobalAccelHotKeyService::isHeldByAnotherClient(quint32 keyCode, quint32 modifiers)
{
    const auto action = Portal::PortalHotKeyService::shortcutId(keyCode, modifiers);
    return action && m_heldElsewhere.contains(*action);
}

// An action's id: component and action, each with its friendly name.
QDBusMessage KGlobalAccelHotKeyService::call(
    const QString& method, const QString& action, int key) const
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    const QString friendlyName
        = QStringLiteral("Vantor: %1").arg(QKeySequence(key).toString(QKeySequence::PortableText));
    message << QStringList{component, action, componentName, friendlyName};
    return message;
}

// Any peer answers Ping: an answer tells that KGlobalAccel is there (started, if need be).
void KGlobalAccelHotKeyService::checkAvailability()
{
    const QDBusMessage ping = QDBusMessage::createMethodCall(
        service, path, QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(ping, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* w) {
        w->deleteLater();
        if (w->isError()) {
            onUnavailable(w->error().message());
            return;
        }
        m_availability = Availability::some;
        sync();
    });
}

void KGlobalAccelHotKeyService::onUnavailable(const QString& reason)
{
    m_availability = Availability::none;
    if (m_warnsWhenUnavailable) {
        qCWarning(lcShell).noquote()
            << "Global hot keys are not available: KGlobalAccel is not on the session bus"
            << "(" + reason + ")";
    }
    Q_EMIT unavailable(reason);
    refuseAll(eventInternalErr);
}

void KGlobalAccelHotKeyService::scheduleSync()
{
    if (m_syncScheduled)
        return;
    m_syncScheduled = true;
    QTimer::singleShot(0, this, [this] {
        m_syncScheduled = false;
        sync();
    });
}

// Gives KGlobalAccel the actions registered now, and takes back those that are not.
void KGlobalAccelHotKeyService::sync()
{
    if (m_availability != Availability::some)
        return;
    QHash<QString, int> wanted;
    for (const auto& [ref, key] : m_keys.entries())
        wanted.insert(key.name, key.detail);
    const QStringList held = m_held.keys();
    for (const QString& action : held) {
        if (!wanted.contains(action))
            release(action);
    }
    for (auto action = wanted.cbegin(); action != wanted.cend(); ++action) {
        if (!m_held.contains(action.key()))
            hold(action.key(), action.value());
    }
}

void KGlobalAccelHotKeyService::hold(const QString& action, int key)
{
    const quint64 request = m_nextRequest++;
    m_held.insert(action, Held{request, key});
    m_bus.send(call(QStringLiteral("doRegister"), action, key));
    QDBusMessage setShortcut = call(QStringLiteral("setShortcut"), action, key);
    setShortcut << QVariant::fromValue(QList<int>{key}) << (setPresent | noAutoloading);
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(setShortcut, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
        [this, action, request](QDBusPendingCallWatcher* w) {
            w->deleteLater();
            const QDBusPendingReply<QList<int>> reply = *w;
            if (reply.isError())
                onFailed(action, request, reply.error().message());
            else
                onKeysGiven(action, request, reply.value());
        });
}

// Frees the action's key, and forgets the action.
void KGlobalAccelHotKeyService::release(const QString& action)
{
    const Held held = m_held.take(action);
    m_bus.send(call(QStringLiteral("unRegister"), action, held.key));
}

void KGlobalAccelHotKeyService::onKeysGiven(
    const QString& action, quint64 request, const QList<int>& keys)
{
    // An answer for an action taken back since, or asked for again, is out of date.
    if (m_held.value(action).request != request)
        return;
    if (!holdsNoKey(keys)) {
        m_heldElsewhere.remove(action);
        return;
    }
    m_heldElsewhere.insert(action);
    release(action);
    refuseAction(action, eventHotKeyExistsErr);
}

void KGlobalAccelHotKeyService::onFailed(
    const QString& action, quint64 request, const QString& reason)
{
    if (m_held.value(action).request != request)
        return;
    qCWarning(lcShell).noquote() << "KGlobalAccel gave no key to" << action << "(" + reason + ")";
    m_held.remove(action);
    refuseAction(action, eventInternalErr);
}

void KGlobalAccelHotKeyService::refuseAction(const QString& action, OSStatus status)
{
    for (const EventHotKeyRef ref : m_keys.refsNamed(action))
        m_keys.refuse(ref, status);
}

void KGlobalAccelHotKeyService::refuseAll(OSStatus status)
{
    while (!m_keys.entries().empty())
        m_keys.refuse(m_keys.entries().begin()->first, status);
}

void KGlobalAccelHotKeyService::onPressed(
    const QString& componentUnique, const QString& action, qlonglong timestamp)
{
    Q_UNUSED(timestamp)
    if (componentUnique == component)
        m_keys.deliver(action, KeyboardEvent::hotKeyPressed);
}

void KGlobalAccelHotKeyService::onReleased(
    const QString& componentUnique, const QString& action, qlonglong timestamp)
{
    Q_UNUSED(timestamp)
    if (componentUnique == component)
        m_keys.deliver(action, KeyboardEvent::hotKeyReleased);
}

} // namespace Platform::Kde
