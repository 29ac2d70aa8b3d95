#include "Platform/Applications.h"

#include "Platform/Gio/GioHandles.h"

#include <QFile>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

namespace Platform {
namespace {

Gio::GObjectPtr<GDesktopAppInfo> loadEntry(const QString& path)
{
    if (path.isEmpty())
        return nullptr;
    return Gio::GObjectPtr<GDesktopAppInfo>(
        g_desktop_app_info_new_from_filename(QFile::encodeName(path).constData()));
}

QStringList namesOf(GIcon* icon)
{
    QStringList names;
    if (G_IS_THEMED_ICON(icon)) {
        const char* const* themed = g_themed_icon_get_names(G_THEMED_ICON(icon));
        for (; themed && *themed; ++themed)
            names.append(QString::fromUtf8(*themed));
    } else if (G_IS_FILE_ICON(icon)) {
        const Gio::GCharPtr file(g_file_get_path(g_file_icon_get_file(G_FILE_ICON(icon))));
        if (file)
            names.append(QFile::decodeName(file.get()));
    }
    return names;
}

} // namespace

std::optional<QString> desktopEntryName(const QString& path)
{
    const auto entry = loadEntry(path);
    // Without a Name key GIO would make up "Unnamed".
    if (!entry || !g_desktop_app_info_has_key(entry.get(), "Name"))
        return std::nullopt;
    const char* name = g_app_info_get_name(G_APP_INFO(entry.get()));
    if (!name)
        return std::nullopt;
    return QString::fromUtf8(name);
}

QStringList desktopEntryIcon(const QString& path)
{
    const auto entry = loadEntry(path);
    if (!entry)
        return {};
    GIcon* icon = g_app_info_get_icon(G_APP_INFO(entry.get()));
    return icon ? namesOf(icon) : QStringList();
}

} // namespace Platform
