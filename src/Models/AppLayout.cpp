#include "Models/AppLayout.h"

#include <QtGlobal>

#include <cmath>
#include <cstdint>

namespace {

qint64 wholePart(double value)
{
    // 2^63 is exactly representable; anything at or beyond it does not fit.
    constexpr double limit = 9223372036854775808.0;
    const double truncated = std::trunc(value);
    if (!std::isfinite(value) || truncated >= limit || truncated < -limit)
        qFatal("Screen size %f cannot be converted to an integer", value);
    return static_cast<qint64>(truncated);
}

} // namespace

AppLayout::AppLayout(const QUuid& id, double screenWidth, double screenHeight, double positionX,
                     double positionY, double width, double height,
                     const std::shared_ptr<AppInfo>& app)
    : PersistentModel(id), m_screenWidth(screenWidth), m_screenHeight(screenHeight),
      m_positionX(positionX), m_positionY(positionY), m_width(width), m_height(height),
      m_app(app)
{
}

void AppLayout::setApp(const std::shared_ptr<AppInfo>& app)
{
    m_app = app;
    markChanged();
}

QString AppLayout::screenSizeDescription() const
{
    return QString::number(wholePart(m_screenWidth)) + QStringLiteral(" x ")
        + QString::number(wholePart(m_screenHeight));
}
