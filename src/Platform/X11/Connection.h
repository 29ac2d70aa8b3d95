#pragma once

#include "Platform/X11/Atoms.h"

#include <cstdint>
#include <memory>

struct xcb_connection_t;

namespace Platform::X11 {

// Vantor's own connection to the X server of $DISPLAY, with what every request needs:
// the root window, the interned atoms and which extensions the server offers.
class Connection {
public:
    // Null when there is no display or the server cannot be reached.
    static std::unique_ptr<Connection> open();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    xcb_connection_t* get() const { return m_connection.get(); }
    // False once the server went away; every request then fails.
    bool isAlive() const;

    std::uint32_t root() const { return m_root; }
    int rootWidth() const { return m_rootWidth; }
    int rootHeight() const { return m_rootHeight; }
    const Atoms& atoms() const { return m_atoms; }
    std::uint32_t atom(Atom name) const { return m_atoms[name]; }

    bool hasRandrMonitors() const { return m_hasRandrMonitors; }
    bool hasResourceExtension() const { return m_hasResourceExtension; }
    // Every resource of one client shares the bits outside this mask.
    std::uint32_t clientBaseOf(std::uint32_t resource) const
    {
        return resource & ~m_resourceIdMask;
    }

    void flush() const;
    // Flushes and waits until the server has handled every request sent so far, so that
    // nothing is lost when the process exits right after.
    void sync() const;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };
    explicit Connection(xcb_connection_t* connection);
    bool setUp(int screenNumber);
    void queryExtensions();

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    std::uint32_t m_root = 0;
    int m_rootWidth = 0;
    int m_rootHeight = 0;
    std::uint32_t m_resourceIdMask = 0;
    Atoms m_atoms;
    bool m_hasRandrMonitors = false;
    bool m_hasResourceExtension = false;
};

} // namespace Platform::X11
