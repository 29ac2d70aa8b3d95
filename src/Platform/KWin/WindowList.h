#pragma once

#include "Platform/WindowSystem.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

// Reading the windows that Vantor's KWin scripts describe.
namespace Platform::KWin {

// KWin names a window by a UUID; Vantor gives each one a number the first time it sees it,
// so numbers grow with the windows' age, as on the other window systems.
class WindowIds {
public:
    WindowId idOf(const QString& uuid);
    QString uuidOf(WindowId id) const { return m_uuids.value(id); }

private:
    QHash<QString, WindowId> m_ids;
    QHash<WindowId, QString> m_uuids;
    WindowId m_next = 1;
};

// One window as a script describes it; a Wayland window's app id stands in for the X11 class.
WindowInfo windowOfObject(const QJsonObject& object, WindowIds& ids);

// Every window a script listed, front to back: by KWin's stacking order where it tells it,
// otherwise the newest window first.
QList<WindowInfo> windowsOfList(const QJsonArray& list, WindowIds& ids);

} // namespace Platform::KWin
