#include "Tabs/Components/AppIcon.h"

#include "Extensions/String+Ext.h"

#include <QPainter>
#include <QPainterPath>
#include <QQuickWindow>

AppIcon::AppIcon(QQuickItem* parent) : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
}

void AppIcon::setPath(const QString& path)
{
    if (path == m_path)
        return;
    m_path = path;
    update();
    Q_EMIT pathChanged();
}

void AppIcon::setRadius(qreal radius)
{
    if (qFuzzyCompare(radius, m_radius))
        return;
    m_radius = radius;
    update();
    Q_EMIT radiusChanged();
}

void AppIcon::paint(QPainter* painter)
{
    const std::optional<QIcon> icon = getAppImage(m_path);
    if (!icon)
        return;
    const qreal scale = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    QPainterPath rounded;
    rounded.addRoundedRect(boundingRect(), m_radius, m_radius);
    painter->setClipPath(rounded);
    painter->drawPixmap(boundingRect().toRect(), icon->pixmap((size() * scale).toSize()));
}
