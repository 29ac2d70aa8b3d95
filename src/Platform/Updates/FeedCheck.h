#pragma once

#include "Platform/Updates/AppcastItem.h"
#include "Platform/Updates/GuardedRequest.h"
#include "Platform/Updates/Signature.h"

#include <QObject>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

class QNetworkAccessManager;

namespace Platform {

// What a check learnt: a newer release, none, or that it could not tell (and why).
struct FeedCheckOutcome {
    enum class Kind { UpdateFound, NoUpdate, Failed };
    Kind kind = Kind::Failed;
    std::optional<AppcastItem> update;
    QString error;
};

// One look at the update feed: the feed and its detached signature (the feed's URL +
// ".sig", base64) are fetched side by side; the feed counts only when the signature is the
// signing key's, and then its newest release newer than the running version is the answer.
class FeedCheck final : public QObject {
    Q_OBJECT

public:
    struct Setup {
        QUrl feedUrl;
        UpdateSigningKey key;
        QString runningVersion;
        QString systemVersion;
        RequestLimits limits;
    };

    FeedCheck(QNetworkAccessManager& network, Setup setup, QObject* parent = nullptr);
    ~FeedCheck() override;

    void start();
    const FeedCheckOutcome& outcome() const { return m_outcome; }

    static QUrl signatureUrl(const QUrl& feedUrl);

Q_SIGNALS:
    void finished();

private:
    void onRequestFinished();
    FeedCheckOutcome judge() const;

    Setup m_setup;
    std::unique_ptr<GuardedRequest> m_feed;
    std::unique_ptr<GuardedRequest> m_signature;
    FeedCheckOutcome m_outcome;
    bool m_done = false;
};

} // namespace Platform
