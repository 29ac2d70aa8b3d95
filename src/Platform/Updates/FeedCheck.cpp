#include "Platform/Updates/FeedCheck.h"

#include "Platform/Updates/Appcast.h"

namespace Platform {

namespace {

constexpr qint64 kMaximumSignatureBytes = 1024;

FeedCheckOutcome failure(const QString& reason)
{
    return {FeedCheckOutcome::Kind::Failed, std::nullopt, reason};
}

} // namespace

FeedCheck::FeedCheck(QNetworkAccessManager& network, Setup setup, QObject* parent)
    : QObject(parent), m_setup(std::move(setup))
{
    RequestLimits signatureLimits = m_setup.limits;
    signatureLimits.maximumBytes = kMaximumSignatureBytes;
    m_feed = std::make_unique<GuardedRequest>(network, m_setup.feedUrl, m_setup.limits);
    m_signature
        = std::make_unique<GuardedRequest>(network, signatureUrl(m_setup.feedUrl), signatureLimits);
    connect(m_feed.get(), &GuardedRequest::finished, this, &FeedCheck::onRequestFinished);
    connect(m_signature.get(), &GuardedRequest::finished, this, &FeedCheck::onRequestFinished);
}

FeedCheck::~FeedCheck() = default;

QUrl FeedCheck::signatureUrl(const QUrl& feedUrl)
{
    QUrl url = feedUrl;
    url.setPath(feedUrl.path() + QStringLiteral(".sig"));
    return url;
}

void FeedCheck::start()
{
    m_feed->start();
    m_signature->start();
}

void FeedCheck::onRequestFinished()
{
    if (m_done)
        return;
    const bool feedFailed = !m_feed->errorString().isEmpty();
    const bool signatureFailed = !m_signature->errorString().isEmpty();
    const bool bothDone = m_feed->succeeded() && m_signature->succeeded();
    if (!feedFailed && !signatureFailed && !bothDone)
        return; // the other one is still coming
    m_done = true;
    if (feedFailed)
        m_outcome = failure(QStringLiteral("feed %1: %2")
                                .arg(m_setup.feedUrl.toDisplayString(), m_feed->errorString()));
    else if (signatureFailed)
        m_outcome = failure(QStringLiteral("feed signature: %1").arg(m_signature->errorString()));
    else
        m_outcome = judge();
    // Whichever request is still under way is not needed any more.
    m_feed->abandon();
    m_signature->abandon();
    Q_EMIT finished();
}

FeedCheckOutcome FeedCheck::judge() const
{
    const auto signature = signatureFromBase64(m_signature->body());
    if (!signature)
        return failure(
            QStringLiteral("the feed's signature is not an Ed25519 signature in base64"));
    const QByteArray feed = m_feed->body();
    if (!m_setup.key.verifies(feed, *signature))
        return failure(QStringLiteral("the feed's signature does not match Vantor's key"));
    const Appcast::ParseResult parsed = Appcast::parse(feed);
    if (!parsed.error.isEmpty())
        return failure(QStringLiteral("the feed was refused: %1").arg(parsed.error));
    auto update = Appcast::bestUpdate(parsed.items, m_setup.runningVersion, m_setup.systemVersion);
    if (!update)
        return {FeedCheckOutcome::Kind::NoUpdate, std::nullopt, {}};
    return {FeedCheckOutcome::Kind::UpdateFound, std::move(update), {}};
}

} // namespace Platform
