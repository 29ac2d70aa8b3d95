#pragma once

#include "Platform/WindowSystem.h"

#include <QList>

#include <cstdint>
#include <optional>

namespace Platform::X11 {

class Connection;

// Describes client windows: owner, type, layer, visibility, frame and desktop-entry hints.
// All windows are asked about at once; one that vanishes meanwhile is left out.
class WindowReader {
public:
    explicit WindowReader(const Connection& connection) : m_connection(connection) { }

    // `currentDesktop` is absent when the window manager has no desktops.
    QList<WindowInfo> read(
        const QList<std::uint32_t>& windows, std::optional<std::uint32_t> currentDesktop) const;

private:
    const Connection& m_connection;
};

} // namespace Platform::X11
