#include "Platform/KWin/WindowList.h"

#include <algorithm>

namespace Platform::KWin {
namespace {

WindowKind kindOfType(const QString& type)
{
    if (type == QLatin1String("normal"))
        return WindowKind::Normal;
    if (type == QLatin1String("dialog"))
        return WindowKind::Dialog;
    return WindowKind::Other;
}

} // namespace

WindowId WindowIds::idOf(const QString& uuid)
{
    if (const auto found = m_ids.constFind(uuid); found != m_ids.cend())
        return *found;
    const WindowId id = m_next++;
    m_ids.insert(uuid, id);
    m_uuids.insert(id, uuid);
    return id;
}

WindowInfo windowOfObject(const QJsonObject& object, WindowIds& ids)
{
    WindowInfo window;
    window.id = ids.idOf(object.value(QLatin1String("id")).toString());
    window.pid = object.value(QLatin1String("pid")).toInt();
    window.typeName = object.value(QLatin1String("type")).toString();
    window.kind = kindOfType(window.typeName);
    window.isNormalLayer = object.value(QLatin1String("normalLayer")).toBool();
    window.isOnScreen = object.value(QLatin1String("onScreen")).toBool();
    window.skipsTaskbar = object.value(QLatin1String("skipTaskbar")).toBool();
    window.frame
        = {object.value(QLatin1String("x")).toDouble(), object.value(QLatin1String("y")).toDouble(),
            object.value(QLatin1String("width")).toDouble(),
            object.value(QLatin1String("height")).toDouble()};
    window.wmClassInstance = object.value(QLatin1String("resourceName")).toString();
    window.wmClass = object.value(QLatin1String("resourceClass")).toString();
    window.desktopFile = object.value(QLatin1String("desktopFile")).toString();
    if (!object.value(QLatin1String("x11")).toBool())
        window.applicationId = window.wmClass;
    return window;
}

QList<WindowInfo> windowsOfList(const QJsonArray& list, WindowIds& ids)
{
    QList<std::pair<int, WindowInfo>> stacked;
    for (const QJsonValue& value : list) {
        const QJsonObject object = value.toObject();
        stacked.append(
            {object.value(QLatin1String("stacking")).toInt(-1), windowOfObject(object, ids)});
    }
    std::stable_sort(stacked.begin(), stacked.end(), [](const auto& a, const auto& b) {
        return a.first != b.first ? a.first > b.first : a.second.id > b.second.id;
    });
    QList<WindowInfo> windows;
    for (auto& [stacking, window] : stacked)
        windows.append(std::move(window));
    return windows;
}

} // namespace Platform::KWin
