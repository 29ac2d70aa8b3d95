#pragma once

#include "Platform/Geometry.h"
#include "Platform/X11/Properties.h"

// Arithmetic between a client window, the decorations the window manager draws around it
// (_NET_FRAME_EXTENTS) and the invisible shadow margins a client-side-decorated window
// draws itself (_GTK_FRAME_EXTENTS). The visible frame is what Vantor stores and restores.
namespace Platform::X11 {

struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    friend bool operator==(const Rect&, const Rect&) = default;
};

// How far the visible frame reaches beyond the client on each side (negative: inside it).
Extents visibleExtents(const Extents& decorations, const Extents& shadows);

Frame visibleFrame(const Rect& client, const Extents& visible);

// What to ask for so that the visible frame becomes `target`: the outer top-left of the
// window manager's frame (the meaning of a position with north-west gravity, both in
// _NET_MOVERESIZE_WINDOW and in a ConfigureWindow of a managed window) and the client's size.
struct MoveResize {
    int frameX = 0;
    int frameY = 0;
    int clientWidth = 1;
    int clientHeight = 1;
};
MoveResize moveResizeFor(const Frame& target, const Extents& decorations, const Extents& shadows);

} // namespace Platform::X11
