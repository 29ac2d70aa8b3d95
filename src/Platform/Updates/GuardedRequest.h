#pragma once

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QUrl>

#include <chrono>

class QIODevice;
class QNetworkAccessManager;
class QNetworkReply;

namespace Platform {

// The rules every update request follows.
struct RequestLimits {
    qint64 maximumBytes = 2 * 1024 * 1024;
    // No byte for this long ends the request...
    std::chrono::milliseconds idleTimeout{15000};
    // ...and so does this much time in all (0: no overall limit).
    std::chrono::milliseconds totalTimeout{60000};
};

// Whether Vantor fetches updates from there: HTTPS anywhere, plain HTTP only from this
// machine's loopback addresses.
bool isTrustedUpdateUrl(const QUrl& url);

// One GET under the update rules: a trusted URL, redirects to HTTPS only, the limits
// above, any HTTP status but 2xx a failure. The body goes into memory, or into `sink`
// when one is given. Ends with finished() exactly once, also when the request could not
// start; deleteLater() after that is the caller's.
class GuardedRequest final : public QObject {
    Q_OBJECT

public:
    GuardedRequest(QNetworkAccessManager& network, QUrl url, RequestLimits limits,
        QIODevice* sink = nullptr, QObject* parent = nullptr);
    ~GuardedRequest() override;

    // Starts the request; finished() follows from the event loop, never from inside.
    void start();
    // Ends the request without finished(): its answer is no longer wanted.
    void abandon();

    bool succeeded() const { return m_error.isEmpty() && m_done; }
    QString errorString() const { return m_error; }
    QByteArray body() const { return m_body; }
    qint64 receivedBytes() const { return m_received; }
    QUrl url() const { return m_url; }

Q_SIGNALS:
    void finished();

private:
    void onRedirected(const QUrl& target);
    void onHeaders();
    void onReadyRead();
    void onReplyFinished();
    void fail(const QString& reason);
    void finish();
    void dropReply();

    QNetworkAccessManager& m_network;
    QUrl m_url;
    RequestLimits m_limits;
    QIODevice* m_sink;
    QPointer<QNetworkReply> m_reply;
    QTimer m_deadline;
    QByteArray m_body;
    qint64 m_received = 0;
    QString m_error;
    bool m_done = false;
};

} // namespace Platform
