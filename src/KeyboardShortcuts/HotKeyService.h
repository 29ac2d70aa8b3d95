#pragma once

#include <QtGlobal>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace KeyboardShortcuts {

// Statuses of the hot-key layer, with the values of the classic hot-key service.
using OSStatus = std::int32_t;
inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus eventInternalErr = -9868;
inline constexpr OSStatus eventNotHandledErr = -9874;
// Another client holds the key combination.
inline constexpr OSStatus eventHotKeyExistsErr = -9878;
// The key combination cannot be expressed on this keyboard.
inline constexpr OSStatus eventHotKeyInvalidErr = -9879;

struct EventHotKeyID {
    quint32 signature = 0;
    quint32 id = 0;
};

// A registration, as the service identifies it; 0 is none.
using EventHotKeyRef = quint64;

// A keyboard event as the hot-key layer receives it.
struct KeyboardEvent {
    enum Kind {
        rawKeyDown = 1,
        rawKeyRepeat = 2,
        rawKeyUp = 3,
        hotKeyPressed = 5,
        hotKeyReleased = 6,
        // A service that answers registrations later: it has taken back the registration of
        // hotKeyID, for the reason in status.
        hotKeyRefused = 7,
    };
    Kind kind = rawKeyDown;
    EventHotKeyID hotKeyID; // hot-key events
    OSStatus status = noErr; // hotKeyRefused
    quint32 keyCode = 0; // raw key events: the virtual key code
    quint32 modifiers = 0; // raw key events: modifiers in the hot-key encoding
};

// A key of an application key event, translated from the window system's terms.
struct RawKey {
    quint32 keyCode = 0;
    quint32 modifiers = 0;
};

// The system's global hot-key service: registers key combinations for the whole desktop and
// delivers their presses and releases to one event handler.
class HotKeyService {
public:
    using EventHandler = std::function<OSStatus(const KeyboardEvent* event)>;

    virtual ~HotKeyService() = default;

    virtual OSStatus registerEventHotKey(
        quint32 keyCode, quint32 modifiers, EventHotKeyID id, EventHotKeyRef* outRef)
        = 0;
    virtual OSStatus unregisterEventHotKey(EventHotKeyRef ref) = 0;

    // The handler gets no key events until hot-key events are enabled; a refusal comes
    // whenever the service learns of it.
    virtual OSStatus installEventHandler(EventHandler handler) = 0;
    virtual void setHotKeyEventsEnabled(bool enabled) = 0;

    // The virtual key code and hot-key modifiers of an application key event, from its native
    // scan code and modifiers (all of them, locks included); none for a key unknown here.
    virtual std::optional<RawKey> rawKey(quint32 nativeScanCode, quint32 nativeModifiers) = 0;

    // Whether another client of the system holds the key combination for itself, so that a
    // registration of it would fail. This service's own registrations do not count.
    virtual bool isHeldByAnotherClient(quint32 keyCode, quint32 modifiers)
    {
        Q_UNUSED(keyCode)
        Q_UNUSED(modifiers)
        return false;
    }
};

// The hot-key service of this session: the X server's key grabs, or a service that refuses
// every registration when there is no X display.
std::unique_ptr<HotKeyService> createHotKeyService();

} // namespace KeyboardShortcuts
