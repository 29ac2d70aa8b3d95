#pragma once

#include <QList>
#include <QPointF>
#include <QQuickItem>
#include <QQuickWindow>
#include <QString>
#include <QStringList>
#include <QTest>

// The items of a Qt Quick window's scene by objectName, list rows and popups included
// (which are not QObject children of the window), and real clicks on them.
namespace SceneItems {

// Every item of that objectName, in tree order; only those that are visible, unless told.
inline QList<QQuickItem*> find(QWindow* window, const QString& name, bool visibleOnly = true)
{
    QList<QQuickItem*> found;
    auto* quickWindow = qobject_cast<QQuickWindow*>(window);
    QList<QQuickItem*> pending{quickWindow ? quickWindow->contentItem() : nullptr};
    while (!pending.isEmpty()) {
        QQuickItem* item = pending.takeFirst();
        if (!item)
            continue;
        if (item->objectName() == name && (!visibleOnly || item->isVisible()))
            found.append(item);
        pending.append(item->childItems());
    }
    return found;
}

// The texts of the visible items of that objectName.
inline QStringList texts(QWindow* window, const QString& name)
{
    QStringList found;
    for (QQuickItem* item : find(window, name))
        found.append(item->property("text").toString());
    return found;
}

// A left click in the middle of the item, as the pointer would give it.
inline bool click(QWindow* window, QQuickItem* item)
{
    if (!item)
        return false;
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QTest::mouseClick(window, Qt::LeftButton, {}, centre.toPoint());
    return true;
}

} // namespace SceneItems
