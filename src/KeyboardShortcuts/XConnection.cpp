#include "KeyboardShortcuts/XConnection.h"

#include "KeyboardShortcuts/Logging.h"

#include <QAbstractEventDispatcher>
#include <QAbstractNativeEventFilter>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
// xkb.h has a member named "explicit".
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <cstdlib>

namespace KeyboardShortcuts {
namespace {

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};

bool applicationRunsOnX11()
{
    // Not the native interface: the offscreen platform offers it too when it finds a display.
    return qGuiApp && QGuiApplication::platformName() == QLatin1String("xcb");
}

} // namespace

void XConnection::Disconnect::operator()(xcb_connection_t* connection) const
{
    xcb_disconnect(connection);
}

XConnection* XConnection::shared()
{
    static QPointer<XConnection> s_connection;
    static bool s_tried = false;
    if (s_connection || s_tried || !applicationRunsOnX11())
        return s_connection;
    s_tried = true;
    auto* connection = new XConnection(qGuiApp);
    if (!connection->open()) {
        delete connection;
        return nullptr;
    }
    s_connection = connection;
    return connection;
}

XConnection::XConnection(QObject* parent) : QObject(parent)
{
}

XConnection::~XConnection() = default;

bool XConnection::open()
{
    int screenNumber = 0;
    m_connection.reset(xcb_connect(nullptr, &screenNumber));
    if (xcb_connection_has_error(m_connection.get())) {
        qCWarning(lcShortcuts) << "Cannot open a connection to the X server for hot keys";
        m_connection.reset();
        return false;
    }
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection.get()));
    for (int i = 0; i < screenNumber && screens.rem > 1; ++i)
        xcb_screen_next(&screens);
    m_root = screens.data->root;
    setUpKeyboardExtension();

    m_notifier = new QSocketNotifier(
        xcb_get_file_descriptor(m_connection.get()), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &XConnection::readEvents);
    // Replies read while waiting for something else leave events in xcb's queue, where the
    // socket notifier does not see them.
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this,
        &XConnection::processQueuedEvents);
    return true;
}

void XConnection::setUpKeyboardExtension()
{
    xcb_connection_t* c = m_connection.get();
    std::uint8_t firstEvent = 0;
    if (!xkb_x11_setup_xkb_extension(c, XKB_X11_MIN_MAJOR_XKB_VERSION,
            XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr,
            &firstEvent, nullptr)) {
        qCInfo(lcShortcuts) << "The X server has no keyboard extension";
        return;
    }
    m_xkbFirstEvent = firstEvent;

    const std::uint32_t flag = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    std::unique_ptr<xcb_xkb_per_client_flags_reply_t, FreeDeleter> flags(
        xcb_xkb_per_client_flags_reply(
            c, xcb_xkb_per_client_flags(c, XCB_XKB_ID_USE_CORE_KBD, flag, flag, 0, 0, 0), nullptr));
    m_detectableAutoRepeat = flags && (flags->value & flag);

    const std::uint16_t events
        = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    xcb_xkb_select_events(c, XCB_XKB_ID_USE_CORE_KBD, events, 0, events, 0, 0, nullptr);
    xcb_flush(c);
}

void XConnection::installNativeEventFilter(QAbstractNativeEventFilter* filter)
{
    if (!m_filters.contains(filter))
        m_filters.append(filter);
}

void XConnection::removeNativeEventFilter(QAbstractNativeEventFilter* filter)
{
    m_filters.removeAll(filter);
}

void XConnection::flush()
{
    xcb_flush(m_connection.get());
}

void XConnection::readEvents()
{
    xcb_connection_t* c = m_connection.get();
    while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
        std::unique_ptr<xcb_generic_event_t, FreeDeleter> owned(event);
        dispatch(event);
    }
    if (xcb_connection_has_error(c)) {
        qCWarning(lcShortcuts) << "The X server closed the hot-key connection";
        m_notifier->setEnabled(false);
    }
}

void XConnection::processQueuedEvents()
{
    while (xcb_generic_event_t* event = xcb_poll_for_queued_event(m_connection.get())) {
        std::unique_ptr<xcb_generic_event_t, FreeDeleter> owned(event);
        dispatch(event);
    }
    xcb_flush(m_connection.get());
}

void XConnection::dispatch(void* message)
{
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const int type = event->response_type & ~0x80;
    if (type == XCB_MAPPING_NOTIFY || (m_xkbFirstEvent >= 0 && type == m_xkbFirstEvent)) {
        scheduleKeyboardChanged();
        return;
    }
    static const QByteArray eventType = QByteArrayLiteral("xcb_generic_event_t");
    const QList<QAbstractNativeEventFilter*> filters = m_filters;
    for (QAbstractNativeEventFilter* filter : filters) {
        qintptr result = 0;
        if (filter->nativeEventFilter(eventType, message, &result))
            return;
    }
}

void XConnection::scheduleKeyboardChanged()
{
    // One layout switch brings several notifications; act once, after the last.
    if (m_keyboardChangePending)
        return;
    m_keyboardChangePending = true;
    QTimer::singleShot(0, this, [this] {
        m_keyboardChangePending = false;
        Q_EMIT keyboardChanged();
    });
}

} // namespace KeyboardShortcuts
