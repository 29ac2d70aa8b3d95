#pragma once

#include <QColor>
#include <QImage>
#include <QQuickPaintedItem>
#include <QSvgRenderer>
#include <QtQml/qqmlregistration.h>

// An SVG from Vantor's resources, drawn sharp at the item's size and centred in it with its
// proportions kept; with a `color`, every covered pixel takes that colour (monochrome
// symbols), else the drawing keeps its own colours (illustrations).
class VectorImage : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    // A resource path, e.g. ":/symbols/plus.svg".
    Q_PROPERTY(QString source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)

public:
    explicit VectorImage(QQuickItem* parent = nullptr);

    QString source() const { return m_source; }
    void setSource(const QString& source);
    QColor color() const { return m_color; }
    void setColor(const QColor& color);

    // The drawing at `size` (device pixels), tinted when a colour is set; null when the
    // source could not be read.
    QImage render(QSize size) const;
    void paint(QPainter* painter) override;

Q_SIGNALS:
    void sourceChanged();
    void colorChanged();

private:
    QString m_source;
    QColor m_color;
    mutable QSvgRenderer m_renderer;
    bool m_loaded = false;
};
