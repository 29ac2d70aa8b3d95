#pragma once

#include <QEvent>
#include <QEventLoop>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QTimer>
#include <QWindow>

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <memory>

// A connection of the test's own to the X server.
struct XDisconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using XConnectionHolder = std::unique_ptr<xcb_connection_t, XDisconnect>;

// Returns once the server has handled every request sent before.
inline void xSync(xcb_connection_t* c)
{
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

// Real key and pointer events through the XTEST extension, as a user's keyboard and mouse
// would give them; each call returns once the server has taken them.
class FakeInput {
public:
    FakeInput() : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection.get())).data->root;
    }

    // Holds the modifier keys, presses and releases the key, lets go of the modifiers.
    void press(std::uint8_t keycode, std::initializer_list<std::uint8_t> modifiers = {})
    {
        for (const std::uint8_t modifier : modifiers)
            keyDown(modifier);
        keyDown(keycode);
        keyUp(keycode);
        for (const std::uint8_t modifier : modifiers)
            keyUp(modifier);
        sync();
    }

    void click(QPointF globalPosition, std::uint8_t button = 1)
    {
        xcb_test_fake_input(m_connection.get(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, m_root,
            static_cast<std::int16_t>(globalPosition.x()),
            static_cast<std::int16_t>(globalPosition.y()), 0);
        fake(XCB_BUTTON_PRESS, button);
        fake(XCB_BUTTON_RELEASE, button);
        xSync(m_connection.get());
    }

    // One key going down or up, without waiting for the server.
    void keyDown(std::uint8_t keycode) { fake(XCB_KEY_PRESS, keycode); }
    void keyUp(std::uint8_t keycode) { fake(XCB_KEY_RELEASE, keycode); }
    void sync() { xSync(m_connection.get()); }

private:
    void fake(std::uint8_t type, std::uint8_t detail)
    {
        xcb_test_fake_input(m_connection.get(), type, detail, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }

    XConnectionHolder m_connection;
    xcb_window_t m_root = 0;
};

// Waits for the next mouse button release that reaches a window. The window manager holds a
// click on a window back for a moment (to focus it) while keys pass at once: keys meant to
// follow a click are pressed only once it arrived.
class ReleaseWaiter : public QObject {
public:
    explicit ReleaseWaiter(QWindow* window) : m_window(window)
    {
        m_window->installEventFilter(this);
    }
    ~ReleaseWaiter() override
    {
        if (m_window)
            m_window->removeEventFilter(this);
    }

    bool wait()
    {
        if (m_released)
            return true;
        QTimer::singleShot(5000, &m_loop, [this] { m_loop.exit(1); });
        return m_loop.exec() == 0;
    }

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::MouseButtonRelease) {
            m_released = true;
            m_loop.quit();
        }
        return false;
    }

private:
    QPointer<QWindow> m_window;
    QEventLoop m_loop;
    bool m_released = false;
};

// Clicks into the window and waits until the click has reached it.
inline bool clickInto(FakeInput& input, QWindow* window, QPointF globalPosition)
{
    ReleaseWaiter release(window);
    input.click(globalPosition);
    return release.wait();
}
