#include "Platform/AppChooser.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QStandardPaths>

namespace Platform {
namespace {

QString withoutDesktopSuffix(QString name)
{
    const QLatin1String suffix(".desktop");
    if (name.endsWith(suffix))
        name.chop(suffix.size());
    return name;
}

} // namespace

std::optional<QUrl> FileDialogAppChooser::chooseApplication()
{
    QFileDialog dialog;
    dialog.setWindowTitle(QStringLiteral("Select an Application"));
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setMimeTypeFilters({QStringLiteral("application/x-desktop")});
    dialog.setDirectory(QStandardPaths::writableLocation(QStandardPaths::ApplicationsLocation));
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    const QList<QUrl> urls = dialog.selectedUrls();
    if (urls.isEmpty())
        return std::nullopt;
    return urls.first();
}

QString desktopFileId(const QString& path)
{
    const QString file = QFileInfo(path).absoluteFilePath();
    for (const QString& folder :
        QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation)) {
        const QString prefix = QDir(folder).absolutePath() + QLatin1Char('/');
        if (file.startsWith(prefix)) {
            QString relative = file.mid(prefix.size());
            return withoutDesktopSuffix(relative.replace(QLatin1Char('/'), QLatin1Char('-')));
        }
    }
    return withoutDesktopSuffix(QFileInfo(path).fileName());
}

} // namespace Platform
