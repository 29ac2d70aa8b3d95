#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

struct xcb_connection_t;

namespace Platform::X11 {

enum class Atom : std::size_t {
    NetSupported,
    NetSupportingWmCheck,
    NetClientList,
    NetClientListStacking,
    NetCurrentDesktop,
    NetActiveWindow,
    NetMoveResizeWindow,
    NetWmPid,
    NetWmDesktop,
    NetFrameExtents,
    NetWmWindowType,
    NetWmState,
    NetWmStateAbove,
    NetWmStateBelow,
    NetWmStateHidden,
    NetWmStateSkipTaskbar,
    NetWmStateMaximizedVert,
    NetWmStateMaximizedHorz,
    NetWmStateFullscreen,
    NetWmWindowTypeNormal,
    NetWmWindowTypeDialog,
    NetWmWindowTypeDesktop,
    NetWmWindowTypeDock,
    NetWmWindowTypeToolbar,
    NetWmWindowTypeMenu,
    NetWmWindowTypeUtility,
    NetWmWindowTypeSplash,
    NetWmWindowTypeDropdownMenu,
    NetWmWindowTypePopupMenu,
    NetWmWindowTypeTooltip,
    NetWmWindowTypeNotification,
    NetWmWindowTypeCombo,
    NetWmWindowTypeDnd,
    GtkFrameExtents,
    GtkApplicationId,
    KdeNetWmDesktopFile,
    NetStartupId,
    WmState,
    Utf8String,
    Count
};

// The atoms Vantor reads and writes, interned together in one round trip.
class Atoms {
public:
    // Interns every atom; false when the server did not answer.
    bool intern(xcb_connection_t* connection);

    std::uint32_t operator[](Atom atom) const { return m_values[static_cast<std::size_t>(atom)]; }
    // The window type atoms in the order of Atom, from NetWmWindowTypeNormal on, with their
    // short names ("normal", "dialog", "dock"...).
    static const char* typeName(Atom typeAtom);

private:
    std::array<std::uint32_t, static_cast<std::size_t>(Atom::Count)> m_values{};
};

} // namespace Platform::X11
