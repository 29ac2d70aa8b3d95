#include "Platform/DesktopIdentity.h"

#include <QGuiApplication>
#include <QWindow>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace Platform {
namespace {

xcb_atom_t internAtom(xcb_connection_t* connection, const char* name)
{
    const auto cookie
        = xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr), &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

} // namespace

void setDesktopIdentity(QWindow& window)
{
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection())
        return;
    xcb_connection_t* connection = x11->connection();
    const auto id = static_cast<xcb_window_t>(window.winId());
    const xcb_atom_t utf8 = internAtom(connection, "UTF8_STRING");
    for (const char* property : {"_GTK_APPLICATION_ID", "_KDE_NET_WM_DESKTOP_FILE"}) {
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, internAtom(connection, property),
            utf8, 8, static_cast<uint32_t>(std::strlen(kDesktopFileId)), kDesktopFileId);
    }
    xcb_flush(connection);
}

} // namespace Platform
