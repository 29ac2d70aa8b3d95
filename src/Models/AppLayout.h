#pragma once

#include "Models/PersistentModel.h"
#include "Platform/Geometry.h"

#include <QString>

#include <memory>

class AppInfo;

// One window frame of one app, captured on a screen of one size.
class AppLayout final : public PersistentModel {
public:
    AppLayout(const QUuid& id, double screenWidth, double screenHeight, double positionX,
              double positionY, double width, double height,
              const std::shared_ptr<AppInfo>& app = {});

    double screenWidth() const { return m_screenWidth; }
    double screenHeight() const { return m_screenHeight; }
    double positionX() const { return m_positionX; }
    double positionY() const { return m_positionY; }
    double width() const { return m_width; }
    double height() const { return m_height; }

    // The owning app; empty once the layout was detached from it.
    std::shared_ptr<AppInfo> app() const { return m_app.lock(); }
    void setApp(const std::shared_ptr<AppInfo>& app);

    QPointF position() const { return {m_positionX, m_positionY}; }
    QSizeF size() const { return {m_width, m_height}; }
    ScreenSize screenSize() const { return {m_screenWidth, m_screenHeight}; }
    Frame frame() const { return {m_positionX, m_positionY, m_width, m_height}; }

    // "1512 x 982": whole-number parts, truncated toward zero. A value that is not finite
    // or does not fit a signed 64-bit integer stops the process.
    QString screenSizeDescription() const;

private:
    double m_screenWidth;
    double m_screenHeight;
    double m_positionX;
    double m_positionY;
    double m_width;
    double m_height;
    std::weak_ptr<AppInfo> m_app;
};

using AppLayoutPtr = std::shared_ptr<AppLayout>;
