#include "Util/WindowManager.h"

#include "Util/Console.h"

#include <QUuid>

namespace {

// Normal and dialog windows that are kept neither above nor below the others: the layer
// that ordinary application windows live on.
bool isOnNormalLayer(const Platform::WindowInfo& window)
{
    return (window.kind == Platform::WindowKind::Normal
               || window.kind == Platform::WindowKind::Dialog)
        && window.isNormalLayer;
}

} // namespace

ScreenSize WindowManager::mainScreenSize() const
{
    return m_windowSystem.mainScreenSize();
}

QList<AppLayoutPtr> WindowManager::getAppLayout(
    const Platform::RunningApplication& application) const
{
    QList<AppLayoutPtr> layouts;
    const auto windows = m_windowSystem.managedWindows().value_or(QList<Platform::WindowInfo>{});
    for (const Platform::WindowInfo& window : windows) {
        if (!window.isOnScreen || window.pid != application.processIdentifier
            || !isOnNormalLayer(window) || window.frame.isEmpty())
            continue;
        // The screen is read for every window kept, so each layout names the screen it was
        // captured on even if that changes meanwhile.
        const ScreenSize screen = mainScreenSize();
        const Frame& frame = window.frame;
        layouts.append(std::make_shared<AppLayout>(QUuid::createUuid(), screen.width, screen.height,
            frame.x, frame.y, frame.width, frame.height));
    }
    return layouts;
}

void WindowManager::setWindowPosition(Platform::ProcessId pid, QPointF position, QSizeF size) const
{
    place(pid, Frame{position.x(), position.y(), size.width(), size.height()}, {});
}

bool WindowManager::place(
    Platform::ProcessId pid, const Frame& frame, std::chrono::milliseconds holdFor) const
{
    const std::optional<QList<Platform::WindowId>> windows
        = m_windowSystem.windowsOfProcess(pid, maxPlacedWindows);
    if (!windows) {
        Console::print(QStringLiteral("Could not retrieve windows for %1.").arg(pid));
        return false;
    }
    if (holdFor.count() > 0)
        m_windowSystem.holdFrames(*windows, frame, holdFor);
    m_windowSystem.setWindowFrames(*windows, frame.position(), frame.size());
    return true;
}
