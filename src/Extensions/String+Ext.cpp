#include "Extensions/String+Ext.h"

#include "Platform/Applications.h"

#include <QApplication>
#include <QFileInfo>
#include <QStyle>
#include <QUrl>

namespace {

std::optional<QIcon> iconNamed(const QString& nameOrFile)
{
    if (nameOrFile.startsWith(QLatin1Char('/'))) {
        if (QFileInfo(nameOrFile).isFile())
            return QIcon(nameOrFile);
        return std::nullopt;
    }
    if (QIcon::hasThemeIcon(nameOrFile))
        return QIcon::fromTheme(nameOrFile);
    return std::nullopt;
}

QIcon genericApplicationIcon()
{
    if (const auto themed = iconNamed(QStringLiteral("application-x-executable")))
        return *themed;
    if (auto* application = qobject_cast<QApplication*>(QCoreApplication::instance()))
        return application->style()->standardIcon(QStyle::SP_FileIcon);
    return {};
}

} // namespace

std::optional<QIcon> getAppImage(const QString& path)
{
    const QUrl url(path);
    if (!url.isValid())
        return std::nullopt;
    for (const QString& name : Platform::desktopEntryIcon(url.path(QUrl::FullyDecoded))) {
        if (const auto icon = iconNamed(name))
            return icon;
    }
    return genericApplicationIcon();
}
