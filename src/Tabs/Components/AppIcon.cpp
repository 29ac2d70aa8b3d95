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
    // Looked up once per entry: the desktop entry and the icon theme are files to read.
    m_icon = getAppImage(m_path);
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
    if (!m_icon)
        return;
    const qreal scale = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    QPainterPath rounded;
    rounded.addRoundedRect(boundingRect(), m_radius, m_radius);
    painter->setClipPath(rounded);
    painter->drawPixmap(boundingRect().toRect(), m_icon->pixmap((size() * scale).toSize()));
}
