#pragma once

#include "KeyboardShortcuts/HotKeyService.h"
#include "KeyboardShortcuts/X11KeyboardMap.h"

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QPointer>

#include <map>
#include <optional>

namespace KeyboardShortcuts {

class XConnection;

// Hot keys as passive key grabs on the X root window. A combination is grabbed by keycode
// (the key's place, whatever the layout) with every combination of the lock modifiers, so
// Caps Lock and Num Lock do not get in the way. Another client holding the combination makes
// the registration fail with eventHotKeyExistsErr. When the keyboard mapping changes, every
// grab is released and made again for the new mapping.
class X11HotKeyService final : public HotKeyService, public QAbstractNativeEventFilter {
public:
    // Uses the shared X connection once the application has one; until then (and without an
    // X display) every registration fails with eventInternalErr.
    X11HotKeyService();
    ~X11HotKeyService() override;

    OSStatus registerEventHotKey(
        quint32 keyCode, quint32 modifiers, EventHotKeyID id, EventHotKeyRef* outRef) override;
    OSStatus unregisterEventHotKey(EventHotKeyRef ref) override;
    OSStatus installEventHandler(EventHandler handler) override;
    void setHotKeyEventsEnabled(bool enabled) override;
    std::optional<RawKey> rawKey(quint32 nativeScanCode, quint32 nativeModifiers) override;
    // Tries the grab, for every lock variant, and lets go of it at once.
    bool isHeldByAnotherClient(quint32 keyCode, quint32 modifiers) override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    struct Grab {
        quint32 keyCode = 0;
        quint32 carbonModifiers = 0;
        EventHotKeyID id;
        quint8 keycode = 0;
        quint16 modifiers = 0;
        bool grabbed = false;
    };

    bool attach();
    const X11KeyboardMap& keyboardMap();
    OSStatus grab(Grab& grab);
    void ungrab(Grab& grab);
    const Grab* grabFor(quint8 keycode, quint16 state) const;
    bool isGrabbedHere(const Grab& grab) const;
    void keyboardChanged();
    void deliver(KeyboardEvent::Kind kind, EventHotKeyID id);

    QPointer<XConnection> m_connection;
    QMetaObject::Connection m_keyboardChangedConnection;
    bool m_attached = false;
    std::optional<X11KeyboardMap> m_keyboardMap;
    std::map<EventHotKeyRef, Grab> m_grabs;
    EventHotKeyRef m_lastRef = 0;
    // Keys held down since a grab fired, by keycode: the release goes to the same hot key,
    // and presses while held are auto-repeats.
    QHash<quint8, EventHotKeyID> m_held;
    EventHandler m_handler;
    bool m_hotKeyEventsEnabled = false;
};

} // namespace KeyboardShortcuts
