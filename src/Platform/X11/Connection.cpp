#include "Platform/X11/Connection.h"

#include "Platform/X11/Reply.h"
#include "Util/Logging.h"

#include <xcb/randr.h>
#include <xcb/res.h>
#include <xcb/xcb.h>

namespace Platform::X11 {
namespace {

xcb_screen_t* screenOf(xcb_connection_t* connection, int screenNumber)
{
    auto it = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; it.rem > 0 && i < screenNumber; ++i)
        xcb_screen_next(&it);
    return it.rem > 0 ? it.data : nullptr;
}

bool isPresent(xcb_connection_t* connection, xcb_extension_t* extension)
{
    const xcb_query_extension_reply_t* data = xcb_get_extension_data(connection, extension);
    return data && data->present;
}

} // namespace

void Connection::Disconnect::operator()(xcb_connection_t* connection) const
{
    xcb_disconnect(connection);
}

std::unique_ptr<Connection> Connection::open()
{
    int screenNumber = 0;
    // xcb_connect always returns an object; one in error state must still be disconnected.
    std::unique_ptr<Connection> connection(new Connection(xcb_connect(nullptr, &screenNumber)));
    if (!connection->setUp(screenNumber)) {
        qCDebug(lcWindows) << "No X display; windows cannot be read or moved";
        return nullptr;
    }
    return connection;
}

Connection::Connection(xcb_connection_t* connection) : m_connection(connection)
{
}

Connection::~Connection()
{
    // The server drops what it has not read yet from a client that leaves, so a process
    // that exits right after placing windows (`vantor place`) waits for one round trip.
    if (m_connection && !xcb_connection_has_error(m_connection.get()))
        sync();
}

bool Connection::setUp(int screenNumber)
{
    xcb_connection_t* c = m_connection.get();
    if (!c || xcb_connection_has_error(c))
        return false;
    const xcb_screen_t* screen = screenOf(c, screenNumber);
    if (!screen)
        return false;
    m_root = screen->root;
    m_rootWidth = screen->width_in_pixels;
    m_rootHeight = screen->height_in_pixels;
    m_resourceIdMask = xcb_get_setup(c)->resource_id_mask;
    xcb_prefetch_extension_data(c, &xcb_randr_id);
    xcb_prefetch_extension_data(c, &xcb_res_id);
    if (!m_atoms.intern(c))
        return false;
    queryExtensions();
    return isAlive();
}

void Connection::queryExtensions()
{
    xcb_connection_t* c = m_connection.get();
    const bool randr = isPresent(c, &xcb_randr_id);
    m_hasResourceExtension = isPresent(c, &xcb_res_id);
    if (!randr)
        return;
    // Monitors arrived with RandR 1.5; the server also wants to hear which version we speak.
    xcb_generic_error_t* rawError = nullptr;
    const Reply<xcb_randr_query_version_reply_t> version(
        xcb_randr_query_version_reply(c, xcb_randr_query_version(c, 1, 5), &rawError));
    const Reply<xcb_generic_error_t> error(rawError);
    m_hasRandrMonitors = version
        && (version->major_version > 1
            || (version->major_version == 1 && version->minor_version >= 5));
}

bool Connection::isAlive() const
{
    return m_connection && !xcb_connection_has_error(m_connection.get());
}

void Connection::flush() const
{
    xcb_flush(m_connection.get());
}

void Connection::sync() const
{
    xcb_connection_t* c = m_connection.get();
    const Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

} // namespace Platform::X11
