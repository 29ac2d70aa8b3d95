#include "Platform/X11/FrameMath.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Platform::X11 {
namespace {

// X coordinates are 16-bit on the wire for windows; anything beyond is clamped.
int toPixels(double value)
{
    if (!std::isfinite(value))
        return 0;
    constexpr double limit = std::numeric_limits<std::int16_t>::max();
    return static_cast<int>(std::lround(std::clamp(value, -limit, limit)));
}

} // namespace

Extents visibleExtents(const Extents& decorations, const Extents& shadows)
{
    return {decorations.left - shadows.left, decorations.right - shadows.right,
        decorations.top - shadows.top, decorations.bottom - shadows.bottom};
}

Frame visibleFrame(const Rect& client, const Extents& visible)
{
    return {static_cast<double>(client.x - visible.left),
        static_cast<double>(client.y - visible.top),
        static_cast<double>(client.width + visible.left + visible.right),
        static_cast<double>(client.height + visible.top + visible.bottom)};
}

MoveResize moveResizeFor(const Frame& target, const Extents& decorations, const Extents& shadows)
{
    const Extents visible = visibleExtents(decorations, shadows);
    const int x = toPixels(target.x);
    const int y = toPixels(target.y);
    MoveResize request;
    request.frameX = x - shadows.left;
    request.frameY = y - shadows.top;
    request.clientWidth = std::max(1, toPixels(target.width) - visible.left - visible.right);
    request.clientHeight = std::max(1, toPixels(target.height) - visible.top - visible.bottom);
    return request;
}

} // namespace Platform::X11
