// vantor-test-app: a small X client whose start-up the launch tests control exactly. It
// maps one main window, optionally after a splash window or a delay, can move its own
// window as apps that restore their last position do, or never open a window at all.
//
//   --title T                 WM_NAME / _NET_WM_NAME of the main window
//   --class INSTANCE,CLASS    WM_CLASS of every window (default vantor-test-app,VantorTestApp)
//   --geometry WxH+X+Y        the main window's size and place (default 300x200+100+100)
//   --delay MS                wait before mapping any window
//   --splash MS               first a splash window (_NET_WM_WINDOW_TYPE_SPLASH, elsewhere,
//                             another size) for MS ms; it is destroyed, then the main window
//                             is mapped
//   --move-after MS X Y       MS ms after the main window is mapped, move it to X,Y itself
//                             (a ConfigureWindow on its own client window)
//   --no-window               never connect to the X server; sleep until ended
//   --exit-at-once CODE       exit with CODE straight away
//   --log FILE                append what happens to FILE, one event per line:
//                               map main|splash
//                               configure main|splash X Y W H   (client origin on the root)
//                               moved-self main X Y
//                               destroy splash
//
// SIGTERM and SIGINT end it cleanly (exit 0), as does WM_DELETE_WINDOW.
#include <xcb/xcb.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

struct Options {
    std::string title = "Vantor Test App";
    std::string instance = "vantor-test-app";
    std::string className = "VantorTestApp";
    Rect geometry{100, 100, 300, 200};
    int delayMs = 0;
    std::optional<int> splashMs;
    std::optional<int> moveAfterMs;
    int moveX = 0;
    int moveY = 0;
    bool noWindow = false;
    std::optional<int> exitCode;
    std::string logPath;
};

[[noreturn]] void usage(const char* problem)
{
    std::fprintf(stderr, "vantor-test-app: %s\n", problem);
    std::exit(2);
}

int toInt(const char* text)
{
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || value < -100000 || value > 100000)
        usage("not a number");
    return static_cast<int>(value);
}

// "WxH+X+Y"
Rect parseGeometry(const char* text)
{
    Rect rect;
    int consumed = 0;
    if (std::sscanf(text, "%dx%d+%d+%d%n", &rect.width, &rect.height, &rect.x, &rect.y, &consumed)
            != 4
        || text[consumed] != '\0' || rect.width <= 0 || rect.height <= 0)
        usage("--geometry takes WxH+X+Y");
    return rect;
}

Options parseOptions(int argc, char** argv)
{
    Options options;
    const auto value = [&](int& i) -> const char* {
        if (i + 1 >= argc)
            usage("an option lacks its value");
        return argv[++i];
    };
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--title") {
            options.title = value(i);
        } else if (option == "--class") {
            const std::string both = value(i);
            const auto comma = both.find(',');
            if (comma == std::string::npos || comma == 0 || comma + 1 == both.size())
                usage("--class takes INSTANCE,CLASS");
            options.instance = both.substr(0, comma);
            options.className = both.substr(comma + 1);
        } else if (option == "--geometry") {
            options.geometry = parseGeometry(value(i));
        } else if (option == "--delay") {
            options.delayMs = toInt(value(i));
        } else if (option == "--splash") {
            options.splashMs = toInt(value(i));
        } else if (option == "--move-after") {
            options.moveAfterMs = toInt(value(i));
            options.moveX = toInt(value(i));
            options.moveY = toInt(value(i));
        } else if (option == "--no-window") {
            options.noWindow = true;
        } else if (option == "--exit-at-once") {
            options.exitCode = toInt(value(i));
        } else if (option == "--log") {
            options.logPath = value(i);
        } else {
            usage("unknown option");
        }
    }
    return options;
}

class Log {
public:
    explicit Log(const std::string& path)
    {
        if (!path.empty())
            m_fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    }
    ~Log()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    // One whole line per write, so that a reader never sees half of one.
    void line(const std::string& text) const
    {
        if (m_fd < 0)
            return;
        const std::string withNewline = text + '\n';
        [[maybe_unused]] const ssize_t written
            = ::write(m_fd, withNewline.data(), withNewline.size());
    }

private:
    int m_fd = -1;
};

// SIGTERM and SIGINT as a file descriptor that the main loop polls.
int signalDescriptor()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

class App {
public:
    App(const Options& options, xcb_connection_t* connection, const Log& log)
        : m_options(options), m_connection(connection), m_log(log)
    {
        m_screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
        m_protocols = atom("WM_PROTOCOLS");
        m_deleteWindow = atom("WM_DELETE_WINDOW");
    }

    // Creates the windows; the first one is mapped after the delay.
    void start()
    {
        m_main = createWindow(m_options.geometry, "_NET_WM_WINDOW_TYPE_NORMAL", m_options.title);
        if (m_options.splashMs) {
            const Rect main = m_options.geometry;
            const Rect splash{main.x + main.width / 2, main.y + main.height / 3, 240, 120};
            m_splash = createWindow(splash, "_NET_WM_WINDOW_TYPE_SPLASH", m_options.title + " …");
        }
        xcb_flush(m_connection);
        m_nextMap = Clock::now() + std::chrono::milliseconds(m_options.delayMs);
    }

    // Runs until a signal, WM_DELETE_WINDOW or the server going away; the exit status.
    int run(int signals)
    {
        while (true) {
            runDueTimers();
            xcb_flush(m_connection);
            while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
                const bool quit = handle(event);
                std::free(event);
                if (quit)
                    return 0;
            }
            if (xcb_connection_has_error(m_connection))
                return 0; // the display is gone: nothing left to do
            pollfd fds[2]
                = {{xcb_get_file_descriptor(m_connection), POLLIN, 0}, {signals, POLLIN, 0}};
            if (::poll(fds, 2, nextTimeoutMs()) < 0 && errno != EINTR)
                return 1;
            if (fds[1].revents & POLLIN)
                return 0;
        }
    }

private:
    xcb_atom_t atom(const char* name) const
    {
        xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(m_connection,
            xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
            nullptr);
        const xcb_atom_t result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
        std::free(reply);
        return result;
    }

    void setProperty(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, int format,
        const void* data, std::size_t count) const
    {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, property, type,
            static_cast<std::uint8_t>(format), static_cast<std::uint32_t>(count), data);
    }

    xcb_window_t createWindow(const Rect& rect, const char* type, const std::string& title) const
    {
        const xcb_window_t window = xcb_generate_id(m_connection);
        const std::uint32_t values[] = {m_screen->white_pixel, XCB_EVENT_MASK_STRUCTURE_NOTIFY};
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, m_screen->root,
            static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height), 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, m_screen->root_visual,
            XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);

        const std::string wmClass = m_options.instance + '\0' + m_options.className + '\0';
        setProperty(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, wmClass.data(), wmClass.size());
        setProperty(window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, title.data(), title.size());
        setProperty(
            window, atom("_NET_WM_NAME"), atom("UTF8_STRING"), 8, title.data(), title.size());
        const std::uint32_t pid = static_cast<std::uint32_t>(::getpid());
        setProperty(window, atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, &pid, 1);
        char host[256] = {};
        if (::gethostname(host, sizeof(host) - 1) == 0)
            setProperty(
                window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING, 8, host, std::strlen(host));
        const xcb_atom_t windowType = atom(type);
        setProperty(window, atom("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32, &windowType, 1);
        setProperty(window, m_protocols, XCB_ATOM_ATOM, 32, &m_deleteWindow, 1);
        // Honour the startup-notification id it was launched with, as toolkits do.
        if (const char* startupId = std::getenv("DESKTOP_STARTUP_ID"); startupId && *startupId)
            setProperty(window, atom("_NET_STARTUP_ID"), atom("UTF8_STRING"), 8, startupId,
                std::strlen(startupId));

        // WM_NORMAL_HINTS: the user chose this place and size (as -geometry does for Xt apps),
        // so the window manager opens the window there.
        std::uint32_t hints[18] = {};
        hints[0] = 1 | 2; // USPosition | USSize
        hints[1] = static_cast<std::uint32_t>(rect.x);
        hints[2] = static_cast<std::uint32_t>(rect.y);
        hints[3] = static_cast<std::uint32_t>(rect.width);
        hints[4] = static_cast<std::uint32_t>(rect.height);
        setProperty(window, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32, hints, 18);
        return window;
    }

    const char* nameOf(xcb_window_t window) const
    {
        return window == m_main ? "main" : window == m_splash ? "splash" : nullptr;
    }

    // The client's origin on the root, whatever frame the window manager put around it.
    std::optional<std::pair<int, int>> rootOrigin(xcb_window_t window) const
    {
        xcb_translate_coordinates_reply_t* reply = xcb_translate_coordinates_reply(m_connection,
            xcb_translate_coordinates(m_connection, window, m_screen->root, 0, 0), nullptr);
        if (!reply)
            return std::nullopt;
        const std::pair<int, int> origin{reply->dst_x, reply->dst_y};
        std::free(reply);
        return origin;
    }

    // True when the app is to quit.
    bool handle(const xcb_generic_event_t* event)
    {
        switch (event->response_type & 0x7f) {
        case XCB_MAP_NOTIFY: {
            const auto* map = reinterpret_cast<const xcb_map_notify_event_t*>(event);
            if (const char* name = nameOf(map->window)) {
                m_log.line(std::string("map ") + name);
                if (map->window == m_main && m_options.moveAfterMs && !m_moveAt && !m_moved)
                    m_moveAt = Clock::now() + std::chrono::milliseconds(*m_options.moveAfterMs);
            }
            return false;
        }
        case XCB_CONFIGURE_NOTIFY: {
            const auto* configure = reinterpret_cast<const xcb_configure_notify_event_t*>(event);
            const char* name = nameOf(configure->window);
            if (!name || configure->event != configure->window)
                return false;
            if (const auto origin = rootOrigin(configure->window))
                m_log.line(std::string("configure ") + name + ' ' + std::to_string(origin->first)
                    + ' ' + std::to_string(origin->second) + ' ' + std::to_string(configure->width)
                    + ' ' + std::to_string(configure->height));
            return false;
        }
        case XCB_CLIENT_MESSAGE: {
            const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event);
            return message->type == m_protocols && message->format == 32
                && message->data.data32[0] == m_deleteWindow;
        }
        default:
            return false;
        }
    }

    void runDueTimers()
    {
        const auto now = Clock::now();
        if (m_nextMap && now >= *m_nextMap) {
            m_nextMap.reset();
            if (m_splash && !m_splashShown) {
                m_splashShown = true;
                xcb_map_window(m_connection, m_splash);
                m_splashEnd = now + std::chrono::milliseconds(*m_options.splashMs);
            } else {
                xcb_map_window(m_connection, m_main);
            }
        }
        if (m_splashEnd && now >= *m_splashEnd) {
            m_splashEnd.reset();
            xcb_destroy_window(m_connection, m_splash);
            m_log.line("destroy splash");
            m_splash = XCB_WINDOW_NONE;
            xcb_map_window(m_connection, m_main);
        }
        if (m_moveAt && now >= *m_moveAt) {
            m_moveAt.reset();
            m_moved = true;
            const std::uint32_t values[] = {static_cast<std::uint32_t>(m_options.moveX),
                static_cast<std::uint32_t>(m_options.moveY)};
            xcb_configure_window(
                m_connection, m_main, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
            m_log.line("moved-self main " + std::to_string(m_options.moveX) + ' '
                + std::to_string(m_options.moveY));
        }
    }

    int nextTimeoutMs() const
    {
        std::optional<Clock::time_point> next;
        for (const auto& due : {m_nextMap, m_splashEnd, m_moveAt}) {
            if (due && (!next || *due < *next))
                next = due;
        }
        if (!next)
            return -1;
        const auto left
            = std::chrono::ceil<std::chrono::milliseconds>(*next - Clock::now()).count();
        return left > 0 ? static_cast<int>(left) : 0;
    }

    const Options& m_options;
    xcb_connection_t* m_connection;
    const Log& m_log;
    const xcb_screen_t* m_screen = nullptr;
    xcb_atom_t m_protocols = XCB_ATOM_NONE;
    xcb_atom_t m_deleteWindow = XCB_ATOM_NONE;
    xcb_window_t m_main = XCB_WINDOW_NONE;
    xcb_window_t m_splash = XCB_WINDOW_NONE;
    bool m_splashShown = false;
    bool m_moved = false;
    std::optional<Clock::time_point> m_nextMap;
    std::optional<Clock::time_point> m_splashEnd;
    std::optional<Clock::time_point> m_moveAt;
};

} // namespace

int main(int argc, char** argv)
{
    const Options options = parseOptions(argc, argv);
    if (options.exitCode)
        return *options.exitCode;

    const int signals = signalDescriptor();
    if (signals < 0)
        return 1;
    if (options.noWindow) {
        pollfd fd{signals, POLLIN, 0};
        while (::poll(&fd, 1, -1) < 0 && errno == EINTR) { }
        ::close(signals);
        return 0;
    }

    const Log log(options.logPath);
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        usage("cannot connect to the X server");
    }
    int status = 0;
    {
        App app(options, connection, log);
        app.start();
        status = app.run(signals);
    }
    xcb_disconnect(connection);
    ::close(signals);
    return status;
}
