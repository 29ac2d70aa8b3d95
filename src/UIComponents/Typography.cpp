#include "UIComponents/Typography.h"

#include <QEvent>
#include <QGuiApplication>

#include <cmath>

Typography::Typography(QObject* parent) : QObject(parent)
{
    qGuiApp->installEventFilter(this);
}

QFont Typography::scaled(double factor, QFont::Weight weight) const
{
    QFont font = QGuiApplication::font();
    if (font.pointSizeF() > 0)
        font.setPointSizeF(std::round(font.pointSizeF() * factor * 2) / 2);
    else if (font.pixelSize() > 0)
        font.setPixelSize(int(std::lround(font.pixelSize() * factor)));
    font.setWeight(weight);
    return font;
}

bool Typography::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == qGuiApp && event->type() == QEvent::ApplicationFontChange)
        Q_EMIT changed();
    return QObject::eventFilter(watched, event);
}
