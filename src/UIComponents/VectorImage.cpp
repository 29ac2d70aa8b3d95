#include "UIComponents/VectorImage.h"

#include "Util/Logging.h"

#include <QFile>
#include <QPainter>
#include <QQuickWindow>

VectorImage::VectorImage(QQuickItem* parent) : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
}

void VectorImage::setSource(const QString& source)
{
    if (source == m_source)
        return;
    m_source = source;
    // The build checks every resource, so a source that does not load is a wrong name.
    m_loaded = !m_source.isEmpty() && QFile::exists(m_source) && m_renderer.load(m_source);
    if (!m_source.isEmpty() && !m_loaded)
        qCWarning(lcShell) << "No image at" << m_source;
    update();
    Q_EMIT sourceChanged();
}

void VectorImage::setColor(const QColor& color)
{
    if (color == m_color)
        return;
    m_color = color;
    update();
    Q_EMIT colorChanged();
}

QImage VectorImage::render(QSize size) const
{
    if (!m_loaded || size.isEmpty())
        return {};
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    const QSizeF fitted = m_renderer.defaultSize().toSizeF().scaled(size, Qt::KeepAspectRatio);
    m_renderer.render(&painter,
        QRectF(QPointF((size.width() - fitted.width()) / 2, (size.height() - fitted.height()) / 2),
            fitted));
    if (m_color.isValid()) {
        // Keep the drawing's coverage, in the caller's colour.
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), m_color);
    }
    return image;
}

void VectorImage::paint(QPainter* painter)
{
    const qreal scale = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    const QImage image = render((size() * scale).toSize());
    if (!image.isNull())
        painter->drawImage(boundingRect(), image);
}
