#include "BenchApps.h"

#include <cstring>

#include <xcb/xtest.h>

namespace Bench {

pid_t startThreeWindowApp(WindowOwners& owners, const QByteArray& display,
    const QByteArray& className, const QRect& geometry)
{
    return owners.start(display, [&](const XConnection& connection) {
        for (int i = 0; i < kWindowsPerApp; ++i) {
            const QRect client = geometry.translated(30 * i, 30 * i);
            const xcb_window_t window = connection.createWindow(
                client, className.toLower(), className, connection.screen().white_pixel);
            const QByteArray title = className + ' ' + QByteArray::number(i + 1);
            xcb_change_property(connection.get(), XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME,
                XCB_ATOM_STRING, 8, static_cast<std::uint32_t>(title.size()), title.constData());
            // WM_NORMAL_HINTS: user-specified position and size, so the window opens there.
            std::uint32_t hints[18] = {};
            hints[0] = 1 | 2; // USPosition | USSize
            hints[1] = static_cast<std::uint32_t>(client.x());
            hints[2] = static_cast<std::uint32_t>(client.y());
            hints[3] = static_cast<std::uint32_t>(client.width());
            hints[4] = static_cast<std::uint32_t>(client.height());
            xcb_change_property(connection.get(), XCB_PROP_MODE_REPLACE, window,
                XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32, 18, hints);
            xcb_map_window(connection.get(), window);
        }
    });
}

void FrameReader::moveAway(WindowId window, const QRect& to) const
{
    const std::uint32_t values[]
        = {static_cast<std::uint32_t>(to.x()), static_cast<std::uint32_t>(to.y()),
            static_cast<std::uint32_t>(to.width()), static_cast<std::uint32_t>(to.height())};
    xcb_configure_window(m_connection.get(), window,
        XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH
            | XCB_CONFIG_WINDOW_HEIGHT,
        values);
    xcb_flush(m_connection.get());
}

std::uint8_t FrameReader::keycodeOf(xcb_keysym_t keysym) const
{
    xcb_connection_t* connection = m_connection.get();
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const int count = setup->max_keycode - setup->min_keycode + 1;
    const Reply<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(connection,
        xcb_get_keyboard_mapping(connection, setup->min_keycode, static_cast<std::uint8_t>(count)),
        nullptr));
    if (!mapping)
        return 0;
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const int perKeycode = mapping->keysyms_per_keycode;
    for (int i = 0; i < count; ++i) {
        if (keysyms[i * perKeycode] == keysym)
            return static_cast<std::uint8_t>(setup->min_keycode + i);
    }
    return 0;
}

void FrameReader::releaseKeys(const QList<std::uint8_t>& keycodes) const
{
    bool first = true;
    for (const std::uint8_t keycode : keycodes) {
        xcb_test_fake_input(
            m_connection.get(), XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        if (first) {
            m_connection.roundTrip();
            first = false;
        }
    }
    xcb_flush(m_connection.get());
}

QList<WindowId> FrameReader::trayIcons(WindowId trayHost) const
{
    QList<WindowId> icons;
    forEachDescendant(trayHost, 0, [&](WindowId window) {
        if (wmClass(window).value(0) != "vantor")
            return;
        const Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
            m_connection.get(), xcb_get_window_attributes(m_connection.get(), window), nullptr));
        if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE)
            icons.append(window);
    });
    return icons;
}

QList<QByteArray> FrameReader::wmClass(WindowId window) const
{
    const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection.get(),
        xcb_get_property(m_connection.get(), 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64),
        nullptr));
    if (!reply)
        return {};
    return QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())),
        xcb_get_property_value_length(reply.get()))
        .split('\0');
}

std::optional<std::uint32_t> FrameReader::pixelAt(WindowId window, int x, int y) const
{
    const Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(m_connection.get(),
        xcb_get_image(m_connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, window, std::int16_t(x),
            std::int16_t(y), 1, 1, ~0u),
        nullptr));
    if (!reply || xcb_get_image_data_length(reply.get()) < 4)
        return std::nullopt;
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, xcb_get_image_data(reply.get()), sizeof pixel);
    return pixel & 0xffffffu;
}

void FrameReader::forEachDescendant(
    WindowId window, int depth, const std::function<void(WindowId)>& visit) const
{
    const Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(
        m_connection.get(), xcb_query_tree(m_connection.get(), window), nullptr));
    if (!tree)
        return;
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        visit(children[i]);
        if (depth < 4)
            forEachDescendant(children[i], depth + 1, visit);
    }
}

} // namespace Bench
