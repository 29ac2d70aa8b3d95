#pragma once

#include "Platform/Updates/AppcastItem.h"
#include "Platform/Updates/GuardedRequest.h"
#include "Platform/Updates/Signature.h"

#include <QObject>
#include <QString>

#include <memory>

class QNetworkAccessManager;
class QTemporaryFile;

namespace Platform {

// Downloads a release's file into `folder` under its own name: received into a hidden
// temporary file beside it, kept only when its length and Ed25519 signature are the ones
// the feed announced, then given its name ("Vantor-1.2.AppImage", or "… (2)…" when taken).
// A refused or failed download leaves nothing behind.
class EnclosureDownload final : public QObject {
    Q_OBJECT

public:
    static constexpr qint64 kMaximumBytes = 512LL * 1024 * 1024;

    EnclosureDownload(QNetworkAccessManager& network, AppcastEnclosure enclosure,
        UpdateSigningKey key, QString folder, QObject* parent = nullptr);
    ~EnclosureDownload() override;

    void start();

    bool succeeded() const { return !m_savedPath.isEmpty(); }
    QString savedPath() const { return m_savedPath; }
    QString errorString() const { return m_error; }

    // The file name the URL's last segment gives, safe in a folder; "update" for none.
    static QString fileNameFor(const QUrl& url);

Q_SIGNALS:
    void finished();

private:
    void onRequestFinished();
    QString verifyAndKeep();
    QString freeName() const;
    void end(const QString& error);

    QNetworkAccessManager& m_network;
    AppcastEnclosure m_enclosure;
    UpdateSigningKey m_key;
    QString m_folder;
    std::unique_ptr<QTemporaryFile> m_file;
    std::unique_ptr<GuardedRequest> m_request;
    QString m_savedPath;
    QString m_error;
};

} // namespace Platform
