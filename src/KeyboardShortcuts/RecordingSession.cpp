#include "KeyboardShortcuts/RecordingSession.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/Logging.h"
#include "KeyboardShortcuts/NotificationCenter.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>

#include <xcb/xcb.h>

namespace KeyboardShortcuts {

KeyboardGrab::KeyboardGrab(QWindow* window) : m_window(window)
{
    if (m_window)
        m_grabbed = m_window->setKeyboardGrabEnabled(true);
    if (!m_grabbed)
        qCInfo(lcShortcuts) << "The recorder could not take the keyboard; keys held by hot "
                               "keys will not reach it";
}

KeyboardGrab::~KeyboardGrab()
{
    if (!m_grabbed || !m_window)
        return;
    m_window->setKeyboardGrabEnabled(false);
    // At once: a hot key pressed next must find the keyboard free.
    if (auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
        xcb_flush(x11->connection());
}

ApplicationEventMonitor::ApplicationEventMonitor(Handlers handlers)
    : QObject(QCoreApplication::instance()), m_handlers(std::move(handlers))
{
    QCoreApplication::instance()->installEventFilter(this);
}

ApplicationEventMonitor::~ApplicationEventMonitor()
{
    if (QCoreApplication* app = QCoreApplication::instance())
        app->removeEventFilter(this);
}

bool ApplicationEventMonitor::eventFilter(QObject* watched, QEvent* event)
{
    // Windows hand their events on to their items: only the window's own delivery counts.
    if (!watched->isWindowType())
        return false;
    if (event->type() == QEvent::KeyPress)
        return m_handlers.keyPress(*static_cast<QKeyEvent*>(event));
    if (event->type() == QEvent::MouseButtonRelease) {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::LeftButton || mouse->button() == Qt::RightButton)
            m_handlers.mouseRelease(mouse->globalPosition());
    }
    return false;
}

void RecordingSession::LaterDeleter::operator()(QObject* object) const
{
    object->deleteLater();
}

RecordingSession::RecordingSession(
    QWindow* window, ApplicationEventMonitor::Handlers handlers, PausedKeyReceiver hotKeyReceiver)
{
    setPausedKeyReceiver(std::move(hotKeyReceiver));
    setPaused(true);
    announce(true);
    m_monitor.reset(new ApplicationEventMonitor(std::move(handlers)));
    m_grab = std::make_unique<KeyboardGrab>(window);
}

RecordingSession::~RecordingSession()
{
    m_grab.reset();
    // Removed at once, deleted once its current event (perhaps the one ending it) is done.
    if (QCoreApplication* app = QCoreApplication::instance())
        app->removeEventFilter(m_monitor.get());
    m_monitor.reset();
    setPaused(false);
    setPausedKeyReceiver({});
    announce(false);
}

void RecordingSession::announce(bool active)
{
    NotificationCenter::defaultCenter().post(
        recorderActiveStatusDidChange, {{QStringLiteral("isActive"), active}});
}

} // namespace KeyboardShortcuts
