#pragma once

#include <QPointF>
#include <QSizeF>

// Plain geometry in the desktop's global coordinates: origin at the top-left corner of
// the screen area, y growing downwards, units of the window system (X pixels on X11).
struct ScreenSize {
    double width = 0;
    double height = 0;
    // Screens are compared exactly: a stored layout belongs to one precise size.
    friend bool operator==(const ScreenSize&, const ScreenSize&) = default;
};

struct Frame {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    QPointF position() const { return {x, y}; }
    QSizeF size() const { return {width, height}; }
    bool isEmpty() const { return !(width > 0 && height > 0); }
    friend bool operator==(const Frame&, const Frame&) = default;
};
