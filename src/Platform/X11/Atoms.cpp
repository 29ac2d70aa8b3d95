#include "Platform/X11/Atoms.h"

#include "Platform/X11/Reply.h"

#include <xcb/xcb.h>

#include <cstring>

namespace Platform::X11 {
namespace {

constexpr std::array<const char*, static_cast<std::size_t>(Atom::Count)> atomNames = {
    "_NET_SUPPORTED",
    "_NET_SUPPORTING_WM_CHECK",
    "_NET_CLIENT_LIST",
    "_NET_CLIENT_LIST_STACKING",
    "_NET_CURRENT_DESKTOP",
    "_NET_ACTIVE_WINDOW",
    "_NET_MOVERESIZE_WINDOW",
    "_NET_WM_PID",
    "_NET_WM_DESKTOP",
    "_NET_FRAME_EXTENTS",
    "_NET_WM_WINDOW_TYPE",
    "_NET_WM_STATE",
    "_NET_WM_STATE_ABOVE",
    "_NET_WM_STATE_BELOW",
    "_NET_WM_STATE_HIDDEN",
    "_NET_WM_STATE_SKIP_TASKBAR",
    "_NET_WM_STATE_MAXIMIZED_VERT",
    "_NET_WM_STATE_MAXIMIZED_HORZ",
    "_NET_WM_STATE_FULLSCREEN",
    "_NET_WM_WINDOW_TYPE_NORMAL",
    "_NET_WM_WINDOW_TYPE_DIALOG",
    "_NET_WM_WINDOW_TYPE_DESKTOP",
    "_NET_WM_WINDOW_TYPE_DOCK",
    "_NET_WM_WINDOW_TYPE_TOOLBAR",
    "_NET_WM_WINDOW_TYPE_MENU",
    "_NET_WM_WINDOW_TYPE_UTILITY",
    "_NET_WM_WINDOW_TYPE_SPLASH",
    "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU",
    "_NET_WM_WINDOW_TYPE_POPUP_MENU",
    "_NET_WM_WINDOW_TYPE_TOOLTIP",
    "_NET_WM_WINDOW_TYPE_NOTIFICATION",
    "_NET_WM_WINDOW_TYPE_COMBO",
    "_NET_WM_WINDOW_TYPE_DND",
    "_GTK_FRAME_EXTENTS",
    "_GTK_APPLICATION_ID",
    "_KDE_NET_WM_DESKTOP_FILE",
    "_NET_STARTUP_ID",
    "WM_STATE",
    "UTF8_STRING",
};

constexpr std::size_t firstType = static_cast<std::size_t>(Atom::NetWmWindowTypeNormal);
constexpr std::size_t lastType = static_cast<std::size_t>(Atom::NetWmWindowTypeDnd);

constexpr std::array<const char*, lastType - firstType + 1> typeNames = {
    "normal",
    "dialog",
    "desktop",
    "dock",
    "toolbar",
    "menu",
    "utility",
    "splash",
    "dropdown_menu",
    "popup_menu",
    "tooltip",
    "notification",
    "combo",
    "dnd",
};

} // namespace

bool Atoms::intern(xcb_connection_t* connection)
{
    std::array<xcb_intern_atom_cookie_t, atomNames.size()> cookies{};
    for (std::size_t i = 0; i < atomNames.size(); ++i) {
        const auto length = static_cast<std::uint16_t>(std::strlen(atomNames[i]));
        cookies[i] = xcb_intern_atom(connection, 0, length, atomNames[i]);
    }
    bool complete = true;
    for (std::size_t i = 0; i < atomNames.size(); ++i) {
        xcb_generic_error_t* rawError = nullptr;
        const Reply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(connection, cookies[i], &rawError));
        const Reply<xcb_generic_error_t> error(rawError);
        m_values[i] = reply ? reply->atom : std::uint32_t{XCB_ATOM_NONE};
        complete = complete && reply;
    }
    return complete;
}

const char* Atoms::typeName(Atom typeAtom)
{
    const auto index = static_cast<std::size_t>(typeAtom);
    if (index < firstType || index > lastType)
        return "";
    return typeNames[index - firstType];
}

} // namespace Platform::X11
