#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

#include <memory>

class QAbstractNativeEventFilter;
class QSocketNotifier;
struct xcb_connection_t;

namespace KeyboardShortcuts {

// The shortcut library's own connection to the X server of a Qt application on X11. Keeping
// it apart from Qt's connection lets it ask for detectable auto-repeat (a held key gives one
// release) without changing what Qt reports. Its events are read on the main thread and handed
// to the installed native event filters as "xcb_generic_event_t".
class XConnection : public QObject {
    Q_OBJECT

public:
    // The connection, opened on first use; null when the application does not run on X11 or
    // the server cannot be reached.
    static XConnection* shared();
    ~XConnection() override;

    xcb_connection_t* get() const { return m_connection.get(); }
    quint32 root() const { return m_root; }
    bool hasDetectableAutoRepeat() const { return m_detectableAutoRepeat; }

    void installNativeEventFilter(QAbstractNativeEventFilter* filter);
    void removeNativeEventFilter(QAbstractNativeEventFilter* filter);
    void flush();

Q_SIGNALS:
    // The keyboard's mapping or modifiers changed (coalesced; after the change).
    void keyboardChanged();

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };

    explicit XConnection(QObject* parent);
    bool open();
    void setUpKeyboardExtension();
    void readEvents();
    void processQueuedEvents();
    void dispatch(void* event);
    void scheduleKeyboardChanged();

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    quint32 m_root = 0;
    int m_xkbFirstEvent = -1;
    bool m_detectableAutoRepeat = false;
    bool m_keyboardChangePending = false;
    QSocketNotifier* m_notifier = nullptr;
    QList<QAbstractNativeEventFilter*> m_filters;
};

} // namespace KeyboardShortcuts
