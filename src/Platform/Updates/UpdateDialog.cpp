#include "Platform/Updates/UpdateDialog.h"

#include "Platform/Updates/EnclosureDownload.h"
#include "Util/Logging.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStandardPaths>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace Platform {

UpdateDialog::UpdateDialog(QNetworkAccessManager& network, UpdateSigningKey key, QWidget* parent)
    : QDialog(parent),
      m_network(network),
      m_key(std::move(key)),
      m_folder(QStandardPaths::writableLocation(QStandardPaths::DownloadLocation)),
      m_reveal(&UpdateDialog::revealInFileManager),
      m_title(new QLabel(this)),
      m_status(new QLabel(this)),
      m_notes(new QTextBrowser(this)),
      m_busy(new QProgressBar(this)),
      m_buttons(new QDialogButtonBox(QDialogButtonBox::Close, this)),
      m_downloadButton(
          m_buttons->addButton(QStringLiteral("Download"), QDialogButtonBox::AcceptRole))
{
    setWindowTitle(QStringLiteral("Software Update"));
    setAttribute(Qt::WA_DeleteOnClose);
    resize(520, 380);
    QFont titleFont = m_title->font();
    titleFont.setBold(true);
    m_title->setFont(titleFont);
    m_title->setWordWrap(true);
    m_status->setWordWrap(true);
    m_notes->setOpenExternalLinks(true);
    m_busy->setRange(0, 0);
    m_busy->hide();
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_title);
    layout->addWidget(m_notes, 1);
    layout->addWidget(m_busy);
    layout->addWidget(m_status);
    layout->addWidget(m_buttons);
    connect(m_downloadButton, &QPushButton::clicked, this, &UpdateDialog::download);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
}

UpdateDialog::~UpdateDialog() = default;

void UpdateDialog::showUpdate(const AppcastItem& item)
{
    m_item = item;
    m_title->setText(QStringLiteral("Vantor %1 is available.").arg(item.displayVersionString));
    if (item.notesFormat == AppcastItem::NotesFormat::Markdown)
        m_notes->setMarkdown(item.releaseNotes);
    else
        m_notes->setHtml(item.releaseNotes);
    m_notes->setVisible(!item.releaseNotes.trimmed().isEmpty());
    m_status->clear();
    m_downloadButton->show();
    m_downloadButton->setEnabled(true);
}

void UpdateDialog::showUpToDate(const QString& runningVersion)
{
    showMessage(QStringLiteral("You’re up to date!"),
        QStringLiteral("Vantor %1 is the newest version available.").arg(runningVersion));
}

void UpdateDialog::showFailure()
{
    showMessage(QStringLiteral("Vantor could not check for updates."),
        QStringLiteral("Please try again later."));
}

void UpdateDialog::showMessage(const QString& title, const QString& message)
{
    m_title->setText(title);
    m_status->setText(message);
    m_notes->hide();
    m_downloadButton->hide();
}

QString UpdateDialog::statusText() const
{
    return m_status->text();
}

void UpdateDialog::download()
{
    if (m_download || m_item.version.isEmpty())
        return;
    m_downloadButton->setEnabled(false);
    m_busy->show();
    m_status->setText(QStringLiteral("Downloading…"));
    m_download = std::make_unique<EnclosureDownload>(m_network, m_item.enclosure, m_key, m_folder);
    connect(
        m_download.get(), &EnclosureDownload::finished, this, &UpdateDialog::onDownloadFinished);
    m_download->start();
}

void UpdateDialog::onDownloadFinished()
{
    m_busy->hide();
    const std::unique_ptr<EnclosureDownload> download = std::move(m_download);
    if (!download->succeeded()) {
        qCInfo(lcUpdate) << "Download refused:" << download->errorString();
        m_status->setText(QStringLiteral(
            "The download failed or could not be verified. Please try again later."));
        m_downloadButton->setEnabled(true);
        Q_EMIT downloadFinished({});
        return;
    }
    const QString path = download->savedPath();
    m_status->setText(QStringLiteral("Saved as %1. Install it as you installed Vantor.")
                          .arg(QFileInfo(path).fileName()));
    m_downloadButton->hide();
    m_reveal(path);
    Q_EMIT downloadFinished(path);
}

// The file manager shows the file selected (org.freedesktop.FileManager1); where none
// answers, the folder is opened instead.
void UpdateDialog::revealInFileManager(const QString& path)
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
            QStringLiteral("/org/freedesktop/FileManager1"),
            QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(path).absolutePath());
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
        [folder](QDBusPendingCallWatcher* self) {
            if (self->isError())
                QDesktopServices::openUrl(folder);
            self->deleteLater();
        });
}

} // namespace Platform
