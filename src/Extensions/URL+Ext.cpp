#include "Extensions/URL+Ext.h"

#include "Platform/Applications.h"

namespace {

QString withoutExtension(const QString& fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? fileName.left(dot) : fileName;
}

} // namespace

QString getAppName(const QUrl& url)
{
    const QString path
        = url.isLocalFile() || url.scheme().isEmpty() ? url.path(QUrl::FullyDecoded) : QString();
    if (const auto name = Platform::desktopEntryName(path))
        return *name;
    QString lastComponent = url.path(QUrl::FullyDecoded);
    while (lastComponent.size() > 1 && lastComponent.endsWith(QLatin1Char('/')))
        lastComponent.chop(1);
    return withoutExtension(lastComponent.section(QLatin1Char('/'), -1));
}

QString getAppName(const QString& path)
{
    return getAppName(QUrl::fromLocalFile(path));
}
