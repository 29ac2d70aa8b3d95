#pragma once

#include <QList>
#include <QQuickItem>
#include <QQuickWindow>
#include <QString>
#include <QStringList>
#include <QTest>

// Finding a window's items by objectName and pressing them with real pointer events, for
// tests of the screens on a real window.
namespace SceneItems {

// The items of that objectName in the window's scene, list rows and sheets included (which
// are not QObject children of the window).
inline QList<QQuickItem*> named(QWindow* window, const QString& name)
{
    QList<QQuickItem*> found;
    auto* quickWindow = qobject_cast<QQuickWindow*>(window);
    if (!quickWindow)
        return found;
    QList<QQuickItem*> pending{quickWindow->contentItem()};
    while (!pending.isEmpty()) {
        QQuickItem* item = pending.takeFirst();
        if (item->objectName() == name)
            found.append(item);
        pending.append(item->childItems());
    }
    return found;
}

inline QList<QQuickItem*> visibleNamed(QWindow* window, const QString& name)
{
    QList<QQuickItem*> visible;
    for (QQuickItem* item : named(window, name)) {
        if (item->isVisible())
            visible.append(item);
    }
    return visible;
}

// The visible text items of that objectName, by their texts.
inline QStringList texts(QWindow* window, const QString& name)
{
    QStringList found;
    for (QQuickItem* item : visibleNamed(window, name))
        found.append(item->property("text").toString());
    return found;
}

// A left click in the middle of the item.
inline void click(QWindow* window, QQuickItem* item)
{
    QVERIFY(item);
    const QPoint centre
        = item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
    QTest::mouseClick(window, Qt::LeftButton, {}, centre);
}

} // namespace SceneItems
