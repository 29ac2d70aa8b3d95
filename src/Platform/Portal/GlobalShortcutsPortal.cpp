#include "Platform/Portal/GlobalShortcutsPortal.h"

#include "Platform/Portal/KdeActiveShortcuts.h"
#include "Platform/Portal/PortalRequest.h"

#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

namespace Platform::Portal {
namespace {

const QLatin1String portalService("org.freedesktop.portal.Desktop");
const QLatin1String portalPath("/org/freedesktop/portal/desktop");
const QLatin1String shortcutsInterface("org.freedesktop.portal.GlobalShortcuts");
const QLatin1String sessionInterface("org.freedesktop.portal.Session");

// The session handle of an answer or a signal: an object path, or a string in CreateSession's
// results.
QString handleOf(const QVariant& value)
{
    if (value.userType() == qMetaTypeId<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    if (value.userType() == qMetaTypeId<QDBusVariant>())
        return handleOf(value.value<QDBusVariant>().variant());
    return value.toString();
}

} // namespace

GlobalShortcutsPortal::GlobalShortcutsPortal(
    const QDBusConnection& bus, const QString& sessionToken, QObject* parent)
    : QObject(parent), m_bus(bus), m_sessionToken(sessionToken)
{
    registerPortalShortcutTypes();
    m_bus.connect(portalService, portalPath, shortcutsInterface, QStringLiteral("Activated"),
        this, SLOT(onActivated(QDBusMessage)));
    m_bus.connect(portalService, portalPath, shortcutsInterface, QStringLiteral("Deactivated"),
        this, SLOT(onDeactivated(QDBusMessage)));
    m_bus.connect(portalService, portalPath, shortcutsInterface,
        QStringLiteral("ShortcutsChanged"), this, SLOT(onShortcutsChanged(QDBusMessage)));
    auto* watcher = new QDBusServiceWatcher(
        portalService, m_bus, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
        // Its sessions went with it.
        if (m_session.isEmpty())
            return;
        m_session.clear();
        Q_EMIT sessionFailed(QStringLiteral("the desktop portal went away"));
    });
}

GlobalShortcutsPortal::~GlobalShortcutsPortal()
{
    if (!m_session.isEmpty())
        m_bus.send(QDBusMessage::createMethodCall(
            portalService, m_session, sessionInterface, QStringLiteral("Close")));
}

QDBusMessage GlobalShortcutsPortal::portalCall(const QString& method) const
{
    return QDBusMessage::createMethodCall(portalService, portalPath, shortcutsInterface, method);
}

void GlobalShortcutsPortal::checkAvailability()
{
    QDBusMessage get = QDBusMessage::createMethodCall(portalService, portalPath,
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << QString(shortcutsInterface) << QStringLiteral("version");
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(get, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* w) {
        w->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *w;
        if (reply.isError()) {
            Q_EMIT unavailable(reply.error().message());
            return;
        }
        const uint version = reply.value().variant().toUInt();
        if (version < 1)
            Q_EMIT unavailable(QStringLiteral("the desktop portal's GlobalShortcuts has no version"));
        else
            Q_EMIT available(version);
    });
}

void GlobalShortcutsPortal::openSession(const PortalShortcuts& shortcuts)
{
    m_waiting = shortcuts;
    startNext();
}

void GlobalShortcutsPortal::closeSession()
{
    openSession({});
}

void GlobalShortcutsPortal::startNext()
{
    if (m_busy || !m_waiting)
        return;
    m_busy = true;
    if (!m_session.isEmpty()) {
        // The same token names the next session: it may be made only once this one is gone.
        sendClose(std::exchange(m_session, QString()));
        return;
    }
    const PortalShortcuts shortcuts = *std::exchange(m_waiting, std::nullopt);
    if (shortcuts.isEmpty())
        finishExchange();
    else
        createSession(shortcuts);
}

void GlobalShortcutsPortal::sendClose(const QString& session)
{
    const QDBusMessage close = QDBusMessage::createMethodCall(
        portalService, session, sessionInterface, QStringLiteral("Close"));
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(close, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* w) {
        w->deleteLater();
        // Closed, or gone already: either way the waiting set comes next.
        finishExchange();
    });
}

void GlobalShortcutsPortal::createSession(const PortalShortcuts& shortcuts)
{
    QVariantMap options;
    options.insert(QStringLiteral("session_handle_token"), m_sessionToken);
    options.insert(QStringLiteral("shortcuts"), QVariant::fromValue(shortcuts));
    auto* request = PortalRequest::send(
        m_bus, portalCall(QStringLiteral("CreateSession")), options, timeoutMs, this);
    connect(request, &PortalRequest::failed, this, &GlobalShortcutsPortal::failExchange);
    connect(request, &PortalRequest::answered, this,
        [this, shortcuts](uint response, const QVariantMap& results) {
            const QString session = handleOf(results.value(QStringLiteral("session_handle")));
            if (response != 0 || session.isEmpty()) {
                failExchange(QStringLiteral("the portal made no session (response %1)").arg(response));
                return;
            }
            m_session = session;
            bindShortcuts(shortcuts);
        });
}

void GlobalShortcutsPortal::bindShortcuts(const PortalShortcuts& shortcuts)
{
    QDBusMessage bind = portalCall(QStringLiteral("BindShortcuts"));
    bind << QVariant::fromValue(QDBusObjectPath(m_session)) << QVariant::fromValue(shortcuts)
         << QString();
    auto* request = PortalRequest::send(m_bus, bind, {}, timeoutMs, this);
    connect(request, &PortalRequest::failed, this, &GlobalShortcutsPortal::failExchange);
    connect(request, &PortalRequest::answered, this,
        [this](uint response, const QVariantMap& results) {
            if (response != 0) {
                failExchange(QStringLiteral("the portal bound no shortcuts (response %1)").arg(response));
                return;
            }
            KdeActiveShortcuts::correct(m_bus, m_sessionToken,
                portalShortcutsOf(results.value(QStringLiteral("shortcuts"))), timeoutMs, this,
                [this](const PortalShortcuts& shortcuts) {
                    // A newer set is on its way: what this one got no longer matters.
                    if (!m_waiting)
                        Q_EMIT bound(shortcuts);
                    finishExchange();
                });
        });
}

void GlobalShortcutsPortal::finishExchange()
{
    m_busy = false;
    startNext();
}

void GlobalShortcutsPortal::failExchange(const QString& reason)
{
    m_busy = false;
    Q_EMIT sessionFailed(reason);
    startNext();
}

bool GlobalShortcutsPortal::isOurSession(const QDBusMessage& message) const
{
    return !message.arguments().isEmpty() && !m_session.isEmpty()
        && handleOf(message.arguments().constFirst()) == m_session;
}

void GlobalShortcutsPortal::onActivated(const QDBusMessage& message)
{
    if (isOurSession(message) && message.arguments().size() >= 2)
        Q_EMIT activated(message.arguments().at(1).toString());
}

void GlobalShortcutsPortal::onDeactivated(const QDBusMessage& message)
{
    if (isOurSession(message) && message.arguments().size() >= 2)
        Q_EMIT deactivated(message.arguments().at(1).toString());
}

void GlobalShortcutsPortal::onShortcutsChanged(const QDBusMessage& message)
{
    if (isOurSession(message) && message.arguments().size() >= 2)
        Q_EMIT shortcutsChanged(portalShortcutsOf(message.arguments().at(1)));
}

} // namespace Platform::Portal
