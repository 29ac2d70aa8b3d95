#include "BenchSupport.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

XConnection::XConnection(const char* display) : m_connection(xcb_connect(display, nullptr))
{
    if (!xcb_connection_has_error(get())) {
        m_screen = xcb_setup_roots_iterator(xcb_get_setup(get())).data;
        m_frameExtents = atom("_NET_FRAME_EXTENTS");
    }
}

xcb_atom_t XConnection::atom(const char* name) const
{
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(get(),
        xcb_intern_atom(get(), 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

void XConnection::roundTrip() const
{
    const Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(get(), xcb_get_input_focus(get()), nullptr));
}

xcb_window_t XConnection::createWindow(const QRect& geometry, const QByteArray& instance,
    const QByteArray& className, std::optional<std::uint32_t> background) const
{
    const xcb_window_t window = xcb_generate_id(get());
    const std::uint32_t values[] = {background.value_or(0)};
    xcb_create_window(get(), XCB_COPY_FROM_PARENT, window, root(),
        static_cast<std::int16_t>(geometry.x()), static_cast<std::int16_t>(geometry.y()),
        static_cast<std::uint16_t>(geometry.width()), static_cast<std::uint16_t>(geometry.height()),
        0, XCB_WINDOW_CLASS_INPUT_OUTPUT, m_screen->root_visual, background ? XCB_CW_BACK_PIXEL : 0,
        background ? values : nullptr);
    const QByteArray wmClass = instance + '\0' + className + '\0';
    xcb_change_property(get(), XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
        static_cast<std::uint32_t>(wmClass.size()), wmClass.constData());
    return window;
}

QList<QMargins> XConnection::frameExtents(const QList<xcb_window_t>& windows) const
{
    std::vector<xcb_get_property_cookie_t> cookies;
    for (const xcb_window_t window : windows)
        cookies.push_back(
            xcb_get_property(get(), 0, window, m_frameExtents, XCB_ATOM_CARDINAL, 0, 4));
    QList<QMargins> extents;
    for (const xcb_get_property_cookie_t cookie : cookies) {
        const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(get(), cookie, nullptr));
        std::uint32_t e[4] = {0, 0, 0, 0};
        if (reply && reply->format == 32 && xcb_get_property_value_length(reply.get()) == 16)
            std::memcpy(e, xcb_get_property_value(reply.get()), sizeof(e));
        extents.append(QMargins(int(e[0]), int(e[2]), int(e[1]), int(e[3])));
    }
    return extents;
}

QList<QRect> XConnection::outerFrames(const QList<xcb_window_t>& windows) const
{
    if (!isConnected())
        return QList<QRect>(windows.size());
    std::vector<xcb_translate_coordinates_cookie_t> origins;
    std::vector<xcb_get_geometry_cookie_t> sizes;
    std::vector<xcb_get_property_cookie_t> extents;
    for (const xcb_window_t window : windows) {
        origins.push_back(xcb_translate_coordinates(get(), window, root(), 0, 0));
        sizes.push_back(xcb_get_geometry(get(), window));
        extents.push_back(
            xcb_get_property(get(), 0, window, m_frameExtents, XCB_ATOM_CARDINAL, 0, 4));
    }
    QList<QRect> frames;
    for (std::size_t i = 0; i < origins.size(); ++i) {
        const Reply<xcb_translate_coordinates_reply_t> origin(
            xcb_translate_coordinates_reply(get(), origins[i], nullptr));
        const Reply<xcb_get_geometry_reply_t> size(
            xcb_get_geometry_reply(get(), sizes[i], nullptr));
        const Reply<xcb_get_property_reply_t> extent(
            xcb_get_property_reply(get(), extents[i], nullptr));
        if (!origin || !size) {
            frames.append(QRect());
            continue;
        }
        std::uint32_t e[4] = {0, 0, 0, 0};
        if (extent && xcb_get_property_value_length(extent.get()) == 16)
            std::memcpy(e, xcb_get_property_value(extent.get()), sizeof(e));
        const int left = static_cast<int>(e[0]);
        const int right = static_cast<int>(e[1]);
        const int top = static_cast<int>(e[2]);
        const int bottom = static_cast<int>(e[3]);
        frames.append(QRect(origin->dst_x - left, origin->dst_y - top, size->width + left + right,
            size->height + top + bottom));
    }
    return frames;
}

void SettleWatch::watch(const QList<xcb_window_t>& windows)
{
    m_windows = windows;
    m_indexOf.clear();
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    for (int i = 0; i < windows.size(); ++i) {
        xcb_change_window_attributes(m_connection.get(), windows[i], XCB_CW_EVENT_MASK, &mask);
        m_indexOf.insert(windows[i], i);
    }
    // The window manager's frames are the root's children: their moves are heard there.
    const std::uint32_t rootMask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(
        m_connection.get(), m_connection.root(), XCB_CW_EVENT_MASK, &rootMask);
    m_extents = m_connection.frameExtents(windows);
    settleEvents();
}

void sendLikeVantor(
    const XConnection& connection, xcb_window_t window, QPoint position, QSize clientSize)
{
    const xcb_atom_t moveResize = connection.atom("_NET_MOVERESIZE_WINDOW");
    constexpr std::uint32_t northWest = 1, x = 1U << 8, y = 1U << 9, width = 1U << 10,
                            height = 1U << 11, fromPager = 2U << 12;
    const auto send = [&](const std::array<std::uint32_t, 5>& data) {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = moveResize;
        std::copy(data.begin(), data.end(), message.data.data32);
        xcb_send_event(connection.get(), 0, connection.root(),
            XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
            reinterpret_cast<const char*>(&message));
    };
    const auto onWire = [](int value) { return static_cast<std::uint32_t>(value); };
    send({northWest | x | y | fromPager, onWire(position.x()), onWire(position.y()), 0, 0});
    send({northWest | width | height | fromPager, 0, 0, onWire(clientSize.width()),
        onWire(clientSize.height())});
}

void SettleWatch::placeLikeVantor(const QList<QRect>& targets) const
{
    for (int i = 0; i < m_windows.size(); ++i)
        sendLikeVantor(m_connection, m_windows[i], targets[i].topLeft(), clientSize(i, targets[i]));
    xcb_flush(m_connection.get());
}

bool SettleWatch::waitUntilOn(const QList<QRect>& targets, std::chrono::milliseconds timeout)
{
    std::vector<bool> sized(static_cast<std::size_t>(m_windows.size()), false);
    QEventLoop loop;
    bool settled = false;
    const auto check = [&] {
        bool configured = false;
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection.get())) {
            configured |= takeConfigure(event, targets, sized);
            std::free(event);
        }
        if (configured && std::all_of(sized.begin(), sized.end(), [](bool s) { return s; }))
            settled = m_connection.outerFrames(m_windows) == targets;
        if (settled || xcb_connection_has_error(m_connection.get()))
            loop.quit();
    };
    QSocketNotifier notifier(xcb_get_file_descriptor(m_connection.get()), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &loop, check);
    QTimer::singleShot(timeout, &loop, &QEventLoop::quit);
    QTimer::singleShot(0, &loop, check);
    loop.exec();
    return settled;
}

void SettleWatch::settleEvents() const
{
    m_connection.roundTrip();
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection.get()))
        std::free(event);
}

QSize SettleWatch::clientSize(int i, const QRect& target) const
{
    return target.marginsRemoved(m_extents[i]).size();
}

bool SettleWatch::takeConfigure(
    const xcb_generic_event_t* event, const QList<QRect>& targets, std::vector<bool>& sized)
{
    if ((event->response_type & 0x7f) != XCB_CONFIGURE_NOTIFY)
        return false;
    const auto* configure = reinterpret_cast<const xcb_configure_notify_event_t*>(event);
    if (configure->event == m_connection.root())
        return true; // a frame moved: a client's position may have changed with it
    const auto found = m_indexOf.constFind(configure->window);
    if (found == m_indexOf.cend())
        return false;
    const int i = *found;
    sized[static_cast<std::size_t>(i)]
        = QSize(configure->width, configure->height) == clientSize(i, targets[i]);
    return true;
}

WindowOwners::~WindowOwners()
{
    for (const pid_t pid : std::as_const(m_pids)) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
}

pid_t WindowOwners::start(
    const QByteArray& display, const std::function<void(const XConnection&)>& createWindows)
{
    // Nothing buffered may come out of the child as well.
    std::fflush(stdout);
    const pid_t pid = ::fork();
    if (pid > 0)
        m_pids.append(pid);
    if (pid != 0)
        return pid;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    int status = 1;
    {
        const XConnection connection(display.constData());
        if (connection.isConnected()) {
            createWindows(connection);
            xcb_flush(connection.get());
            while (Reply<xcb_generic_event_t>(xcb_wait_for_event(connection.get()))) { }
            status = 0;
        }
    }
    ::_exit(status);
}

QList<QRect> storedFrames(const QByteArray& showJson, int apps, QSize screen)
{
    const QJsonArray stored
        = QJsonDocument::fromJson(showJson).object().value(QLatin1String("apps")).toArray();
    if (stored.size() != apps)
        return {};
    QList<QRect> frames(apps);
    for (const QJsonValue& value : stored) {
        const QJsonObject app = value.toObject();
        const int index
            = app.value(QLatin1String("bundleIdentifier")).toString().section(u'-', -1).toInt();
        for (const QJsonValue& layout : app.value(QLatin1String("layouts")).toArray()) {
            const QJsonObject frame = layout.toObject();
            if (index < 0 || index >= apps
                || frame.value(QLatin1String("screenWidth")).toInt() != screen.width()
                || frame.value(QLatin1String("screenHeight")).toInt() != screen.height())
                continue;
            frames[index] = QRect(frame.value(QLatin1String("positionX")).toInt(),
                frame.value(QLatin1String("positionY")).toInt(),
                frame.value(QLatin1String("width")).toInt(),
                frame.value(QLatin1String("height")).toInt());
            break;
        }
    }
    return frames;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double elapsedMs(const QElapsedTimer& timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

double msSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

bool pollUntil(const std::function<bool()>& condition, std::chrono::nanoseconds timeout,
    std::chrono::microseconds interval)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        QThread::usleep(static_cast<unsigned long>(interval.count()));
    }
    return true;
}

} // namespace Bench
