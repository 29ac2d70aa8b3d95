#include "Platform/WindowSystem.h"

#include "TestMain.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeReply>;

// Plays the part of a window manager taking on a window: it frames the window, maps it inside
// the still unmapped frame and lists it in _NET_CLIENT_LIST before it shows the frame.
class SlowFramer {
public:
    SlowFramer() : m_connection(xcb_connect(nullptr, nullptr))
    {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c())).data;
        m_root = screen->root;
    }
    ~SlowFramer() { xcb_destroy_window(c(), m_frame); }

    bool isConnected() const { return xcb_connection_has_error(c()) == 0; }

    std::uint32_t listWindowInHiddenFrame()
    {
        m_frame = xcb_generate_id(c());
        const std::uint32_t overrideRedirect = 1;
        xcb_create_window(c(), XCB_COPY_FROM_PARENT, m_frame, m_root, 300, 200, 202, 175, 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT,
            &overrideRedirect);
        const xcb_window_t window = xcb_generate_id(c());
        xcb_create_window(c(), XCB_COPY_FROM_PARENT, window, m_frame, 1, 20, 200, 150, 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        const std::uint32_t extents[] = {1, 1, 20, 5};
        xcb_change_property(c(), XCB_PROP_MODE_REPLACE, window, atom("_NET_FRAME_EXTENTS"),
            XCB_ATOM_CARDINAL, 32, 4, extents);
        xcb_map_window(c(), window);
        xcb_change_property(c(), XCB_PROP_MODE_APPEND, m_root, atom("_NET_CLIENT_LIST"),
            XCB_ATOM_WINDOW, 32, 1, &window);
        sync();
        return window;
    }

    void showFrame()
    {
        xcb_map_window(c(), m_frame);
        sync();
    }

    // Whether some client, Vantor here, follows the window's own changes.
    bool isFollowed(std::uint32_t window) const
    {
        const Reply<xcb_get_window_attributes_reply_t> reply(xcb_get_window_attributes_reply(
            c(), xcb_get_window_attributes(c(), window), nullptr));
        return reply && (reply->all_event_masks & XCB_EVENT_MASK_STRUCTURE_NOTIFY) != 0;
    }

    bool isViewable(std::uint32_t window) const
    {
        const Reply<xcb_get_window_attributes_reply_t> reply(xcb_get_window_attributes_reply(
            c(), xcb_get_window_attributes(c(), window), nullptr));
        return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
    }

private:
    xcb_connection_t* c() const { return m_connection.get(); }

    xcb_atom_t atom(const char* name) const
    {
        const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(c(),
            xcb_intern_atom(c(), 0, static_cast<std::uint16_t>(std::strlen(name)), name),
            nullptr));
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }

    void sync() const { std::free(xcb_get_input_focus_reply(c(), xcb_get_input_focus(c()), nullptr)); }

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    xcb_window_t m_root = 0;
    xcb_window_t m_frame = 0;
};

} // namespace

// New windows as Vantor hears of them on a real X server, whatever order the window manager
// takes them on in.
class X11NewWindowsTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<Platform::WindowSystem> m_windowSystem = Platform::createWindowSystem();

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void aListedWindowIsReportedWhenItsFrameShows()
    {
        QList<Platform::WindowId> shown;
        const auto watch = m_windowSystem->watchNewWindows(
            [&shown](const Platform::WindowInfo& window) { shown.append(window.id); });
        SlowFramer framer;
        QVERIFY(framer.isConnected());

        const std::uint32_t window = framer.listWindowInHiddenFrame();
        // Vantor has read the list and waits on the window, which is mapped but not viewable.
        QTRY_VERIFY(framer.isFollowed(window));
        QVERIFY(!framer.isViewable(window));
        QVERIFY(!shown.contains(window));

        framer.showFrame();
        QTRY_VERIFY(shown.contains(window));
        QCOMPARE(shown.count(window), 1);
    }
};

VANTOR_DESKTOP_TEST_MAIN(X11NewWindowsTest)
#include "tst_x11_new_windows.moc"
