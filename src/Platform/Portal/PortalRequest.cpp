#include "Platform/Portal/PortalRequest.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace Platform::Portal {
namespace {

const QLatin1String requestInterface("org.freedesktop.portal.Request");

QString nextToken()
{
    static quint64 counter = 0;
    return QStringLiteral("vantor%1").arg(++counter);
}

} // namespace

PortalRequest::PortalRequest(const QDBusConnection& bus, QObject* parent)
    : QObject(parent), m_bus(bus)
{
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this,
        [this] { fail(QStringLiteral("the portal did not answer in time")); });
}

PortalRequest* PortalRequest::send(const QDBusConnection& bus, QDBusMessage call,
    QVariantMap options, int timeoutMs, QObject* parent)
{
    auto* request = new PortalRequest(bus, parent);
    request->start(std::move(call), std::move(options), timeoutMs);
    return request;
}

QString PortalRequest::requestPath(const QDBusConnection& bus, const QString& token)
{
    QString sender = bus.baseService();
    sender.remove(0, 1).replace(QLatin1Char('.'), QLatin1Char('_'));
    return QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
}

void PortalRequest::start(QDBusMessage call, QVariantMap options, int timeoutMs)
{
    const QString token = nextToken();
    m_path = requestPath(m_bus, token);
    m_service = call.service();
    m_bus.connect(m_service, m_path, requestInterface, QStringLiteral("Response"), this,
        SLOT(onResponse(uint, QVariantMap)));
    options.insert(QStringLiteral("handle_token"), token);
    QList<QVariant> arguments = call.arguments();
    arguments.append(options);
    call.setArguments(arguments);
    m_deadline.start(timeoutMs);
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* w) {
        w->deleteLater();
        const QDBusPendingReply<QDBusObjectPath> reply = *w;
        if (reply.isError())
            fail(reply.error().message());
        // A portal older than handle_token would answer on another path: not supported.
        else if (reply.value().path() != m_path)
            fail(QStringLiteral("the portal answers on an unexpected request path"));
    });
}

void PortalRequest::onResponse(uint response, const QVariantMap& results)
{
    if (m_done)
        return;
    finish();
    Q_EMIT answered(response, results);
}

void PortalRequest::fail(const QString& reason)
{
    if (m_done)
        return;
    finish();
    Q_EMIT failed(reason);
}

void PortalRequest::finish()
{
    m_done = true;
    m_deadline.stop();
    m_bus.disconnect(m_service, m_path, requestInterface, QStringLiteral("Response"), this,
        SLOT(onResponse(uint, QVariantMap)));
    deleteLater();
}

} // namespace Platform::Portal
