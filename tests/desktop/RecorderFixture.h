#pragma once

#include "KeyboardShortcuts/KeyboardLayout.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/NotificationCenter.h"
#include "KeyboardShortcuts/Preferences.h"
#include "KeyboardShortcuts/RecorderControl.h"

#include "PreferencesFile.h"
#include "TestDesktop.h"
#include "XInput.h"

#include <QFile>
#include <QJsonObject>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QSocketNotifier>
#include <QTest>
#include <QTimer>

#include <xcb/xcb.h>
// xkb.h has a member named "explicit".
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <cstdlib>
#include <initializer_list>
#include <memory>

// Keycodes of the test server's keyboard (evdev + 8).
namespace Keycode {
inline constexpr std::uint8_t escape = 9;
inline constexpr std::uint8_t one = 10;
inline constexpr std::uint8_t backspace = 22;
inline constexpr std::uint8_t tab = 23;
inline constexpr std::uint8_t q = 24;
inline constexpr std::uint8_t control = 37;
inline constexpr std::uint8_t a = 38;
inline constexpr std::uint8_t k = 45;
inline constexpr std::uint8_t shift = 50;
inline constexpr std::uint8_t alt = 64;
inline constexpr std::uint8_t capsLock = 66;
inline constexpr std::uint8_t f5 = 71;
inline constexpr std::uint8_t numLock = 77;
// A key of the keyboard (the JIS "ro" key) without any symbol in the test server's layouts.
inline constexpr std::uint8_t withoutSymbol = 97;
inline constexpr std::uint8_t deleteForward = 119;
} // namespace Keycode

// Hears the X server's bell through the keyboard extension's bell notifications.
class BellListener {
public:
    BellListener() : m_connection(xcb_connect(nullptr, nullptr))
    {
        xcb_connection_t* c = m_connection.get();
        std::free(xcb_xkb_use_extension_reply(c, xcb_xkb_use_extension(c, 1, 0), nullptr));
        m_firstEvent = xcb_get_extension_data(c, &xcb_xkb_id)->first_event;
        xcb_xkb_select_events(c, XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_EVENT_TYPE_BELL_NOTIFY, 0,
            XCB_XKB_EVENT_TYPE_BELL_NOTIFY, 0, 0, nullptr);
        xSync(c);
        m_notifier
            = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(c), QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { read(); });
    }

    int count()
    {
        read();
        return m_bells;
    }

    // Waits for the next bell; false when none rang in five seconds.
    bool waitForBell()
    {
        const int before = m_bells;
        QSignalSpy spy(m_notifier.get(), &QSocketNotifier::activated);
        while (count() == before) {
            if (!spy.wait(5000))
                return false;
        }
        return true;
    }

private:
    void read()
    {
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection.get())) {
            const auto* xkb = reinterpret_cast<const xcb_xkb_bell_notify_event_t*>(event);
            if ((event->response_type & 0x7f) == m_firstEvent
                && xkb->xkbType == XCB_XKB_BELL_NOTIFY)
                ++m_bells;
            std::free(event);
        }
    }

    XConnectionHolder m_connection;
    std::uint8_t m_firstEvent = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
    int m_bells = 0;
};

// Every active-status notification of the recorders, in order.
class ActiveStatusLog {
public:
    ActiveStatusLog()
    {
        m_token = KeyboardShortcuts::NotificationCenter::defaultCenter().addObserver(
            KeyboardShortcuts::recorderActiveStatusDidChange,
            [this](const KeyboardShortcuts::Notification& notification) {
                m_statuses.append(notification.userInfo.value(QStringLiteral("isActive")).toBool());
            });
    }
    ~ActiveStatusLog()
    {
        KeyboardShortcuts::NotificationCenter::defaultCenter().removeObserver(m_token);
    }
    ActiveStatusLog(const ActiveStatusLog&) = delete;
    ActiveStatusLog& operator=(const ActiveStatusLog&) = delete;

    QList<bool> statuses() const { return m_statuses; }

private:
    KeyboardShortcuts::ObserverToken m_token;
    QList<bool> m_statuses;
};

// The test host: a window with the recorders "first" and "second".
class RecorderHost {
public:
    // Drawn without OpenGL, whose driver's own allocations would count as leaks; before the
    // first window (initTestCase).
    static void useSoftwareRendering()
    {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }

    RecorderHost()
    {
        QQmlComponent component(&m_engine,
            QUrl::fromLocalFile(QStringLiteral(VANTOR_TEST_QML_DIR "/RecorderHost.qml")));
        m_window.reset(qobject_cast<QQuickWindow*>(component.create()));
        if (!m_window)
            qWarning() << component.errors();
    }

    QQuickWindow* window() const { return m_window.get(); }
    QQuickItem* recorder(const char* name) const
    {
        return m_window->findChild<QQuickItem*>(QString::fromLatin1(name));
    }
    KeyboardShortcuts::RecorderControl* control(const char* name = "first") const
    {
        return qvariant_cast<KeyboardShortcuts::RecorderControl*>(
            recorder(name)->property("control"));
    }
    QQuickItem* field(const char* name = "first") const
    {
        return qvariant_cast<QQuickItem*>(recorder(name)->property("field"));
    }
    QObject* alert(const char* name = "first") const
    {
        return qvariant_cast<QObject*>(recorder(name)->property("alert"));
    }
    QQuickItem* alertItem(const char* recorderName, const char* objectName) const
    {
        return alert(recorderName)->findChild<QQuickItem*>(QString::fromLatin1(objectName));
    }

    static QPointF centreOf(const QQuickItem* item)
    {
        return item->mapToGlobal(QPointF(item->width() / 2, item->height() / 2));
    }

private:
    QQmlEngine m_engine;
    std::unique_ptr<QQuickWindow> m_window;
};

// The stored entry of a name, as the preferences file holds it.
inline QJsonValue storedEntry(const QString& name)
{
    return TestPreferences::read().value(QStringLiteral("KeyboardShortcuts_") + name);
}

inline QString storedJson(int keyCode, int modifiers)
{
    return QStringLiteral("{\"carbonKeyCode\":%1,\"carbonModifiers\":%2}")
        .arg(keyCode)
        .arg(modifiers);
}

// Waits until the control is (or is not) recording; false after five seconds without.
inline bool waitForRecording(KeyboardShortcuts::RecorderControl* control, bool recording = true)
{
    QSignalSpy spy(control, &KeyboardShortcuts::RecorderControl::recordingChanged);
    while (control->isRecording() != recording) {
        if (!spy.wait(5000))
            return false;
    }
    return true;
}

// Clicks into the recorder's field; it records from then on.
inline bool startRecording(FakeInput& input, const RecorderHost& host, const char* name = "first")
{
    return clickInto(input, host.window(), RecorderHost::centreOf(host.field(name)))
        && waitForRecording(host.control(name));
}

// Presses a combination that the recorder takes and waits until it has stored it.
inline bool recordAccepted(FakeInput& input, KeyboardShortcuts::RecorderControl* control,
    std::uint8_t keycode, std::initializer_list<std::uint8_t> modifiers)
{
    QSignalSpy changes(control, &KeyboardShortcuts::RecorderControl::change);
    input.press(keycode, modifiers);
    return !changes.isEmpty() || changes.wait(5000);
}

// Waits until the recorder's alert is open and shown with its buttons in place.
inline bool waitForAlert(const RecorderHost& host, const char* name = "first")
{
    QObject* alert = host.alert(name);
    QSignalSpy opened(alert, SIGNAL(opened()));
    if (!alert->property("opened").toBool() && !opened.wait(5000))
        return false;
    QSignalSpy frame(host.window(), &QQuickWindow::frameSwapped);
    host.window()->update();
    return frame.wait(5000);
}

// Clicks one of the alert's buttons and waits until it is closed.
inline bool answerAlert(
    FakeInput& input, const RecorderHost& host, int button, const char* name = "first")
{
    QSignalSpy closed(host.alert(name), SIGNAL(closed()));
    const QByteArray objectName = "recorderAlertButton" + QByteArray::number(button);
    return clickInto(input, host.window(),
               RecorderHost::centreOf(host.alertItem(name, objectName.constData())))
        && (!closed.isEmpty() || closed.wait(5000));
}

// Once per test program, before the first window.
inline void prepareRecorderTests()
{
    KeyboardShortcuts::Preferences::setFolderName(QStringLiteral("Vantor"));
    KeyboardShortcuts::KeyboardLayout::current().useSystemKeymap();
    RecorderHost::useSoftwareRendering();
}

// A host on a clean slate (no handlers, no hot keys, no preferences file), shown and active;
// null when it could not be shown.
inline std::unique_ptr<RecorderHost> freshRecorderHost()
{
    KeyboardShortcuts::removeAllHandlers();
    KeyboardShortcuts::unregisterAll();
    QFile::remove(KeyboardShortcuts::Preferences::standard().filePath());
    auto host = std::make_unique<RecorderHost>();
    if (!host->window() || !QTest::qWaitForWindowActive(host->window()))
        return nullptr;
    return host;
}

// The lock modifiers the keyboard has on (XCB_MOD_MASK_LOCK for Caps Lock, the Num Lock
// modifier), as the keyboard extension reports them.
inline std::uint16_t lockedModifiers()
{
    XConnectionHolder connection(xcb_connect(nullptr, nullptr));
    xcb_connection_t* c = connection.get();
    std::free(xcb_xkb_use_extension_reply(c, xcb_xkb_use_extension(c, 1, 0), nullptr));
    std::unique_ptr<xcb_xkb_get_state_reply_t, decltype(&std::free)> state(
        xcb_xkb_get_state_reply(c, xcb_xkb_get_state(c, XCB_XKB_ID_USE_CORE_KBD), nullptr),
        &std::free);
    return state ? state->lockedMods : 0;
}
