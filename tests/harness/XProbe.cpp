#include "XProbe.h"

#include <xcb/res.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

namespace {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

} // namespace

struct XProbe::Private {
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = 0;

    xcb_atom_t atom(const char* name) const
    {
        Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection,
            xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
            nullptr));
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }

    Reply<xcb_get_property_reply_t> property(xcb_window_t window, const char* name) const
    {
        return Reply<xcb_get_property_reply_t>(xcb_get_property_reply(connection,
            xcb_get_property(connection, 0, window, atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, 4096),
            nullptr));
    }
};

XProbe::XProbe(const QByteArray& display) : d(std::make_unique<Private>())
{
    int screenNumber = 0;
    d->connection = xcb_connect(display.constData(), &screenNumber);
    if (xcb_connection_has_error(d->connection))
        return;
    auto it = xcb_setup_roots_iterator(xcb_get_setup(d->connection));
    for (int i = 0; i < screenNumber; ++i)
        xcb_screen_next(&it);
    d->root = it.data->root;
}

XProbe::~XProbe()
{
    if (d->connection)
        xcb_disconnect(d->connection);
}

bool XProbe::isConnected() const
{
    return d->connection && !xcb_connection_has_error(d->connection) && d->root;
}

bool XProbe::windowManagerIsReady() const
{
    if (!isConnected())
        return false;
    const auto reply = d->property(d->root, "_NET_SUPPORTING_WM_CHECK");
    if (!reply || xcb_get_property_value_length(reply.get()) < 4)
        return false;
    // openbox announces itself before it manages new windows; it publishes the client list
    // (empty at first) once it does. A window mapped in between stays unmanaged.
    const auto clients = d->property(d->root, "_NET_CLIENT_LIST");
    return clients && clients->type != XCB_ATOM_NONE;
}

bool XProbe::selectionHasOwner(const char* selection) const
{
    if (!isConnected())
        return false;
    Reply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        d->connection, xcb_get_selection_owner(d->connection, d->atom(selection)), nullptr));
    return reply && reply->owner != XCB_WINDOW_NONE;
}

QList<std::uint32_t> XProbe::clientWindows() const
{
    QList<std::uint32_t> windows;
    if (!isConnected())
        return windows;
    const auto reply = d->property(d->root, "_NET_CLIENT_LIST");
    if (!reply || reply->format != 32)
        return windows;
    const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    const int count = xcb_get_property_value_length(reply.get()) / 4;
    for (int i = 0; i < count; ++i)
        windows.append(values[i]);
    return windows;
}

std::int32_t XProbe::pidOf(std::uint32_t window) const
{
    xcb_res_client_id_spec_t spec{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    Reply<xcb_res_query_client_ids_reply_t> reply(xcb_res_query_client_ids_reply(
        d->connection, xcb_res_query_client_ids(d->connection, 1, &spec), nullptr));
    if (!reply)
        return 0;
    for (auto it = xcb_res_query_client_ids_ids_iterator(reply.get()); it.rem;
         xcb_res_client_id_value_next(&it)) {
        if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID)
            && xcb_res_client_id_value_value_length(it.data) == 1)
            return static_cast<std::int32_t>(*xcb_res_client_id_value_value(it.data));
    }
    return 0;
}

QList<std::uint32_t> XProbe::clientWindowsOf(std::int32_t pid) const
{
    QList<std::uint32_t> windows;
    for (std::uint32_t window : clientWindows()) {
        if (pidOf(window) == pid)
            windows.append(window);
    }
    return windows;
}

bool XProbe::isViewable(std::uint32_t window) const
{
    if (!isConnected())
        return false;
    Reply<xcb_get_window_attributes_reply_t> reply(xcb_get_window_attributes_reply(
        d->connection, xcb_get_window_attributes(d->connection, window), nullptr));
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
}

std::uint32_t XProbe::mapProbeWindow() const
{
    if (!isConnected())
        return 0;
    const xcb_window_t window = xcb_generate_id(d->connection);
    xcb_create_window(d->connection, XCB_COPY_FROM_PARENT, window, d->root, 0, 0, 100, 100, 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_map_window(d->connection, window);
    xcb_flush(d->connection);
    return window;
}

void XProbe::destroyWindow(std::uint32_t window) const
{
    if (!isConnected())
        return;
    xcb_destroy_window(d->connection, window);
    xcb_flush(d->connection);
}

bool XProbe::isKeyFree(std::uint8_t keycode, std::uint16_t modifiers) const
{
    const auto cookie = xcb_grab_key_checked(
        d->connection, 1, d->root, modifiers, keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    const Reply<xcb_generic_error_t> error(xcb_request_check(d->connection, cookie));
    if (error)
        return false;
    xcb_ungrab_key(d->connection, keycode, d->root, modifiers);
    xcb_flush(d->connection);
    return true;
}
