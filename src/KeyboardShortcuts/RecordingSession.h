#pragma once

#include "KeyboardShortcuts/KeyboardShortcuts.h"

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QWindow>

#include <functional>
#include <memory>

class QKeyEvent;

namespace KeyboardShortcuts {

// Holds the keyboard of a window while it lives: every key goes to the window, also those
// that another client (or the shortcut library itself) holds as global hot keys, so that
// they can be recorded.
class KeyboardGrab {
public:
    explicit KeyboardGrab(QWindow* window);
    ~KeyboardGrab();
    KeyboardGrab(const KeyboardGrab&) = delete;
    KeyboardGrab& operator=(const KeyboardGrab&) = delete;

private:
    QPointer<QWindow> m_window;
    bool m_grabbed = false;
};

// The application's key presses and mouse button releases as they reach its windows, for as
// long as it lives. A key press is swallowed when its handler returns true. Releases are only
// watched: Qt Quick's items follow a press until its release, so none is kept from them.
class ApplicationEventMonitor : public QObject {
    Q_OBJECT

public:
    struct Handlers {
        std::function<bool(const QKeyEvent& event)> keyPress;
        std::function<void(QPointF globalPosition)> mouseRelease;
    };

    explicit ApplicationEventMonitor(Handlers handlers);
    ~ApplicationEventMonitor() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    Handlers m_handlers;
};

// One recording of a shortcut, from its start to its end: hot keys paused (and handed to it),
// the keyboard held, the application's input watched, and the active status announced at
// both ends. Ending it is
// destroying it, which may happen from within one of its handlers.
class RecordingSession {
public:
    RecordingSession(QWindow* window, ApplicationEventMonitor::Handlers handlers,
        PausedKeyReceiver hotKeyReceiver);
    ~RecordingSession();
    RecordingSession(const RecordingSession&) = delete;
    RecordingSession& operator=(const RecordingSession&) = delete;

private:
    struct LaterDeleter {
        void operator()(QObject* object) const;
    };

    static void announce(bool active);

    std::unique_ptr<ApplicationEventMonitor, LaterDeleter> m_monitor;
    std::unique_ptr<KeyboardGrab> m_grab;
};

} // namespace KeyboardShortcuts
