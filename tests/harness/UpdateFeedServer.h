#pragma once

// A local stand-in for Vantor's update server: an HTTP/1.1 server on 127.0.0.1 that answers
// each path as told (status, body, redirect, silence), and feeds and files signed with the
// test key of tests/data/update-signing, which the test build trusts.
#include <QByteArray>
#include <QFile>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <sodium.h>

#include <utility>

namespace TestSigning {

inline QByteArray readKey(const char* name)
{
    QFile file(QStringLiteral(VANTOR_TEST_DATA_DIR "/update-signing/") + QLatin1String(name));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Cannot read the test signing key %s", name);
    return QByteArray::fromBase64(file.readAll().trimmed());
}

// The test key's public half, in base64 as the build takes it.
inline QByteArray publicKeyBase64()
{
    return readKey("public.b64").toBase64();
}

struct KeyPair {
    QByteArray publicKey; // raw 32 bytes
    QByteArray secretKey; // raw 64 bytes
};

inline KeyPair testKeyPair()
{
    return {readKey("public.b64"), readKey("secret.b64")};
}

// A fresh key pair that Vantor does not trust.
inline KeyPair otherKeyPair()
{
    if (::sodium_init() < 0)
        qFatal("libsodium cannot start");
    KeyPair pair{
        QByteArray(crypto_sign_PUBLICKEYBYTES, '\0'), QByteArray(crypto_sign_SECRETKEYBYTES, '\0')};
    ::crypto_sign_keypair(reinterpret_cast<unsigned char*>(pair.publicKey.data()),
        reinterpret_cast<unsigned char*>(pair.secretKey.data()));
    return pair;
}

// The Ed25519 signature of `message`, in base64.
inline QByteArray sign(const QByteArray& message, const KeyPair& key = testKeyPair())
{
    if (::sodium_init() < 0)
        qFatal("libsodium cannot start");
    QByteArray signature(crypto_sign_BYTES, '\0');
    ::crypto_sign_detached(reinterpret_cast<unsigned char*>(signature.data()), nullptr,
        reinterpret_cast<const unsigned char*>(message.constData()),
        static_cast<unsigned long long>(message.size()),
        reinterpret_cast<const unsigned char*>(key.secretKey.constData()));
    return signature.toBase64();
}

} // namespace TestSigning

namespace TestFeed {

struct Release {
    QString version;
    QString displayVersion; // empty: none in the feed
    QString minimumSystemVersion; // empty: none
    QUrl fileUrl = QUrl(QStringLiteral("https://vantor.invalid/Vantor.AppImage"));
    QByteArray file = QByteArrayLiteral("the release's file");
    QString notes = QStringLiteral("<p>Better than ever.</p>");
};

inline Release release(const QString& version, const QString& displayVersion = {})
{
    Release release;
    release.version = version;
    release.displayVersion = displayVersion;
    return release;
}

inline QByteArray item(const Release& release)
{
    QByteArray xml = "<item><title>Vantor " + release.version.toUtf8()
        + "</title>"
          "<pubDate>Tue, 24 Nov 2026 12:00:00 +0000</pubDate>"
          "<vantor:version>"
        + release.version.toUtf8() + "</vantor:version>";
    if (!release.displayVersion.isEmpty())
        xml += "<vantor:shortVersionString>" + release.displayVersion.toHtmlEscaped().toUtf8()
            + "</vantor:shortVersionString>";
    if (!release.minimumSystemVersion.isEmpty())
        xml += "<vantor:minimumSystemVersion>" + release.minimumSystemVersion.toUtf8()
            + "</vantor:minimumSystemVersion>";
    xml += "<description>" + release.notes.toHtmlEscaped().toUtf8()
        + "</description>"
          "<enclosure url=\""
        + release.fileUrl.toEncoded() + "\" length=\"" + QByteArray::number(release.file.size())
        + "\" type=\"application/octet-stream\" vantor:edSignature=\""
        + TestSigning::sign(release.file)
        + "\"/>"
          "</item>";
    return xml;
}

inline QByteArray rss(const QByteArray& items)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<rss version=\"2.0\" xmlns:vantor=\"https://vantor.app/xml-namespaces/appcast\">"
           "<channel><title>Vantor</title>"
        + items + "</channel></rss>\n";
}

inline QByteArray feed(const QList<Release>& releases)
{
    QByteArray items;
    for (const Release& release : releases)
        items += item(release);
    return rss(items);
}

} // namespace TestFeed

class UpdateFeedServer final : public QObject {
    Q_OBJECT

public:
    struct Response {
        int status = 200;
        QByteArray body;
        QByteArray location; // a redirect's target
        bool silent = false; // takes the request and never answers
        bool withoutLength = false; // the body ends when the connection closes
    };

    UpdateFeedServer()
    {
        connect(&m_server, &QTcpServer::newConnection, this, &UpdateFeedServer::accept);
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("The test update server cannot listen");
    }

    QUrl url(const QString& path) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path));
    }

    void serve(const QString& path, Response response)
    {
        m_responses.insert(path, std::move(response));
    }
    void serveBody(const QString& path, const QByteArray& body)
    {
        serve(path, Response{200, body, {}, false, false});
    }

    // The feed at `path`, with its signature at `path` + ".sig".
    void serveSignedFeed(const QString& path, const QByteArray& feed)
    {
        serveBody(path, feed);
        serveBody(path + QStringLiteral(".sig"), TestSigning::sign(feed));
    }

    int requestCount(const QString& path) const { return m_requests.count(path); }
    QStringList requests() const { return m_requests; }

Q_SIGNALS:
    void requested(const QString& path);

private:
    void accept()
    {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        }
    }

    void read(QTcpSocket* socket)
    {
        QByteArray& pending = m_pending[socket];
        pending += socket->readAll();
        const qsizetype end = pending.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const QList<QByteArray> requestLine = pending.left(pending.indexOf("\r\n")).split(' ');
        m_pending.remove(socket);
        const QString path = QString::fromUtf8(requestLine.value(1));
        m_requests.append(path);
        answer(socket, m_responses.value(path, Response{404, "not here", {}, false, false}));
        Q_EMIT requested(path);
    }

    static void answer(QTcpSocket* socket, const Response& response)
    {
        if (response.silent)
            return;
        QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status)
            + " Answer\r\nConnection: close\r\n";
        if (!response.location.isEmpty())
            head += "Location: " + response.location + "\r\n";
        if (!response.withoutLength)
            head += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
        socket->write(head + "\r\n" + response.body);
        socket->disconnectFromHost();
    }

    QTcpServer m_server;
    QHash<QString, Response> m_responses;
    QHash<QTcpSocket*, QByteArray> m_pending;
    QStringList m_requests;
};
