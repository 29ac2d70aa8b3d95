#include "Platform/Applications.h"

#include "Platform/Gio/GioHandles.h"

#include <QCollator>
#include <QFile>

#include <algorithm>

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

std::optional<InstalledApplication> installedApplicationOf(GAppInfo* info)
{
    if (!g_app_info_should_show(info) || !G_IS_DESKTOP_APP_INFO(info))
        return std::nullopt;
    const char* file = g_desktop_app_info_get_filename(G_DESKTOP_APP_INFO(info));
    if (!file)
        return std::nullopt;
    GIcon* icon = g_app_info_get_icon(info);
    return InstalledApplication{Gio::fromUtf8(g_app_info_get_name(info)),
        icon ? namesOf(icon) : QStringList(), QFile::decodeName(file)};
}

} // namespace

QList<InstalledApplication> installedApplications()
{
    QList<InstalledApplication> applications;
    const Gio::GObjectListPtr all(g_app_info_get_all());
    for (GList* item = all.get(); item; item = item->next) {
        if (auto application = installedApplicationOf(G_APP_INFO(item->data)))
            applications.append(*application);
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(applications.begin(), applications.end(),
        [&collator](const InstalledApplication& a, const InstalledApplication& b) {
            return collator.compare(a.name, b.name) < 0;
        });
    return applications;
}

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
