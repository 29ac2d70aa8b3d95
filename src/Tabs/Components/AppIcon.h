#pragma once

#include <QIcon>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

#include <optional>

// The icon of the app whose desktop entry is at `path`, as the desktop shows it (the generic
// application icon when the entry is gone or names none), in a rounded square.
class AppIcon : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString path READ path WRITE setPath NOTIFY pathChanged)
    Q_PROPERTY(qreal radius READ radius WRITE setRadius NOTIFY radiusChanged)

public:
    explicit AppIcon(QQuickItem* parent = nullptr);

    QString path() const { return m_path; }
    void setPath(const QString& path);
    qreal radius() const { return m_radius; }
    void setRadius(qreal radius);

    void paint(QPainter* painter) override;

Q_SIGNALS:
    void pathChanged();
    void radiusChanged();

private:
    QString m_path;
    std::optional<QIcon> m_icon;
    qreal m_radius = 0;
};
