#pragma once

#include "Platform/Updates/AppcastItem.h"
#include "Platform/Updates/Signature.h"

#include <QDialog>
#include <QString>

#include <functional>
#include <memory>

class QDialogButtonBox;
class QLabel;
class QNetworkAccessManager;
class QProgressBar;
class QPushButton;
class QTextBrowser;

namespace Platform {

class EnclosureDownload;

// The window of a check the user asked for: the found version with its release notes and
// "Download", which saves the verified file in the user's download folder and shows it in
// the file manager; or a line that Vantor is up to date, or that the check failed.
class UpdateDialog final : public QDialog {
    Q_OBJECT

public:
    // Shows a saved file to the user (the file manager, by default).
    using Reveal = std::function<void(const QString& path)>;

    UpdateDialog(QNetworkAccessManager& network, UpdateSigningKey key, QWidget* parent = nullptr);
    ~UpdateDialog() override;

    void showUpdate(const AppcastItem& item);
    void showUpToDate(const QString& runningVersion);
    void showFailure();

    // Where downloads go: the user's XDG download folder unless set.
    void setDownloadFolder(const QString& folder) { m_folder = folder; }
    void setReveal(Reveal reveal) { m_reveal = std::move(reveal); }

    // Starts the download of the shown update, as the "Download" button does.
    void download();
    QString statusText() const;

    static void revealInFileManager(const QString& path);

Q_SIGNALS:
    // The download ended: saved (the path) or refused (empty).
    void downloadFinished(const QString& savedPath);

private:
    void onDownloadFinished();
    void showMessage(const QString& title, const QString& message);

    QNetworkAccessManager& m_network;
    UpdateSigningKey m_key;
    AppcastItem m_item;
    QString m_folder;
    Reveal m_reveal;
    std::unique_ptr<EnclosureDownload> m_download;
    QLabel* m_title;
    QLabel* m_status;
    QTextBrowser* m_notes;
    QProgressBar* m_busy;
    QDialogButtonBox* m_buttons;
    QPushButton* m_downloadButton;
};

} // namespace Platform
