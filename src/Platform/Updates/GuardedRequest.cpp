#include "Platform/Updates/GuardedRequest.h"

#include <QHostAddress>
#include <QIODevice>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace Platform {

namespace {

constexpr int kMaximumRedirects = 5;

bool isLoopbackHost(const QString& host)
{
    if (host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0)
        return true;
    const QHostAddress address(host);
    return !address.isNull() && address.isLoopback();
}

} // namespace

bool isTrustedUpdateUrl(const QUrl& url)
{
    if (!url.isValid() || url.host().isEmpty())
        return false;
    if (url.scheme() == QLatin1String("https"))
        return true;
    return url.scheme() == QLatin1String("http") && isLoopbackHost(url.host());
}

GuardedRequest::GuardedRequest(QNetworkAccessManager& network, QUrl url, RequestLimits limits,
    QIODevice* sink, QObject* parent)
    : QObject(parent), m_network(network), m_url(std::move(url)), m_limits(limits), m_sink(sink)
{
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        fail(QStringLiteral("no answer within %1 ms").arg(m_limits.totalTimeout.count()));
    });
}

GuardedRequest::~GuardedRequest()
{
    if (m_reply) {
        m_reply->disconnect(this);
        delete m_reply.data();
    }
}

void GuardedRequest::abandon()
{
    m_done = true;
    m_deadline.stop();
    dropReply();
}

void GuardedRequest::dropReply()
{
    if (!m_reply)
        return;
    // Deleting a reply ends its transfer. abort() is not used: it reports an error of its
    // own, and Qt warns when the transfer's error (a refused connection) is already on
    // its way.
    m_reply->disconnect(this);
    m_reply->deleteLater();
    m_reply = nullptr;
}

void GuardedRequest::start()
{
    if (!isTrustedUpdateUrl(m_url)) {
        m_error = QStringLiteral("not an HTTPS address: %1").arg(m_url.toDisplayString());
        QMetaObject::invokeMethod(this, &GuardedRequest::finish, Qt::QueuedConnection);
        return;
    }
    QNetworkRequest request(m_url);
    request.setAttribute(
        QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::UserVerifiedRedirectPolicy);
    request.setMaximumRedirectsAllowed(kMaximumRedirects);
    request.setTransferTimeout(static_cast<int>(m_limits.idleTimeout.count()));
    request.setHeader(QNetworkRequest::UserAgentHeader,
        QStringLiteral("Vantor/%1").arg(QStringLiteral(VANTOR_VERSION)));
    m_reply = m_network.get(request);
    connect(m_reply, &QNetworkReply::redirected, this, &GuardedRequest::onRedirected);
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &GuardedRequest::onHeaders);
    connect(m_reply, &QNetworkReply::readyRead, this, &GuardedRequest::onReadyRead);
    connect(m_reply, &QNetworkReply::finished, this, &GuardedRequest::onReplyFinished);
    if (m_limits.totalTimeout.count() > 0)
        m_deadline.start(m_limits.totalTimeout);
}

void GuardedRequest::onRedirected(const QUrl& target)
{
    if (target.scheme() != QLatin1String("https")) {
        fail(QStringLiteral("redirected to a plain address: %1").arg(target.toDisplayString()));
        return;
    }
    Q_EMIT m_reply->redirectAllowed();
}

void GuardedRequest::onHeaders()
{
    const QVariant length = m_reply->header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid() && length.toLongLong() > m_limits.maximumBytes)
        fail(QStringLiteral("an answer of %1 bytes, more than %2")
                 .arg(length.toLongLong())
                 .arg(m_limits.maximumBytes));
}

void GuardedRequest::onReadyRead()
{
    if (!m_reply->isOpen())
        return; // ended without a body, e.g. by its time limit
    const QByteArray chunk = m_reply->readAll();
    m_received += chunk.size();
    if (m_received > m_limits.maximumBytes) {
        fail(QStringLiteral("an answer of more than %1 bytes").arg(m_limits.maximumBytes));
        return;
    }
    if (!m_sink) {
        m_body.append(chunk);
    } else if (m_sink->write(chunk) != chunk.size()) {
        fail(QStringLiteral("cannot write what was received: %1").arg(m_sink->errorString()));
    }
}

void GuardedRequest::onReplyFinished()
{
    if (m_done)
        return;
    onReadyRead();
    if (m_done)
        return;
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (m_reply->error() != QNetworkReply::NoError)
        fail(m_reply->errorString());
    else if (status < 200 || status > 299)
        fail(QStringLiteral("HTTP status %1").arg(status));
    else
        finish();
}

void GuardedRequest::fail(const QString& reason)
{
    if (m_done)
        return;
    m_error = reason;
    finish();
}

void GuardedRequest::finish()
{
    if (m_done)
        return;
    m_done = true;
    m_deadline.stop();
    dropReply();
    Q_EMIT finished();
}

} // namespace Platform
