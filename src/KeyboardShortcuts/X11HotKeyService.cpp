#include "KeyboardShortcuts/X11HotKeyService.h"

#include "KeyboardShortcuts/KeyCodeTable.h"
#include "KeyboardShortcuts/Logging.h"
#include "KeyboardShortcuts/XConnection.h"

#include <QList>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace KeyboardShortcuts {
namespace {

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};

constexpr std::uint8_t badAccess = 10;

} // namespace

std::unique_ptr<HotKeyService> createHotKeyService()
{
    return std::make_unique<X11HotKeyService>();
}

X11HotKeyService::X11HotKeyService() = default;

X11HotKeyService::~X11HotKeyService()
{
    if (!m_connection)
        return;
    m_connection->removeNativeEventFilter(this);
    QObject::disconnect(m_keyboardChangedConnection);
    for (auto& [ref, grab] : m_grabs)
        ungrab(grab);
    m_connection->flush();
}

bool X11HotKeyService::attach()
{
    if (m_connection)
        return true;
    if (m_attached)
        return false; // the connection went away with the application
    XConnection* connection = XConnection::shared();
    if (!connection)
        return false;
    m_connection = connection;
    m_attached = true;
    m_connection->installNativeEventFilter(this);
    m_keyboardChangedConnection = QObject::connect(
        m_connection, &XConnection::keyboardChanged, m_connection, [this] { keyboardChanged(); });
    return true;
}

const X11KeyboardMap& X11HotKeyService::keyboardMap()
{
    if (!m_keyboardMap)
        m_keyboardMap = X11KeyboardMap::read(m_connection->get());
    return *m_keyboardMap;
}

OSStatus X11HotKeyService::registerEventHotKey(
    quint32 keyCode, quint32 modifiers, EventHotKeyID id, EventHotKeyRef* outRef)
{
    *outRef = 0;
    if (!attach())
        return eventInternalErr;
    Grab entry{keyCode, modifiers, id};
    const OSStatus status = grab(entry);
    if (status != noErr)
        return status;
    *outRef = ++m_lastRef;
    m_grabs.emplace(*outRef, entry);
    return noErr;
}

OSStatus X11HotKeyService::unregisterEventHotKey(EventHotKeyRef ref)
{
    const auto it = m_grabs.find(ref);
    if (it == m_grabs.end())
        return eventInternalErr;
    ungrab(it->second);
    m_grabs.erase(it);
    if (m_connection)
        m_connection->flush();
    return noErr;
}

OSStatus X11HotKeyService::installEventHandler(EventHandler handler)
{
    if (!attach())
        return eventInternalErr;
    m_handler = std::move(handler);
    return noErr;
}

void X11HotKeyService::setHotKeyEventsEnabled(bool enabled)
{
    m_hotKeyEventsEnabled = enabled;
}

std::optional<RawKey> X11HotKeyService::rawKey(quint32 nativeScanCode, quint32 nativeModifiers)
{
    const auto keyCode = KeyCodeTable::carbonKeyCodeOfXKeycode(static_cast<int>(nativeScanCode));
    if (!keyCode || !attach())
        return std::nullopt;
    const int modifiers = keyboardMap().carbonModifiers(static_cast<quint16>(nativeModifiers));
    return RawKey{static_cast<quint32>(*keyCode), static_cast<quint32>(modifiers)};
}

OSStatus X11HotKeyService::grab(Grab& entry)
{
    const auto keycode = KeyCodeTable::xKeycode(static_cast<int>(entry.keyCode));
    const X11KeyboardMap& map = keyboardMap();
    const auto modifiers = map.grabModifiers(static_cast<int>(entry.carbonModifiers));
    if (!keycode || *keycode > 255 || !map.hasKeycode(*keycode) || !modifiers)
        return eventHotKeyInvalidErr;
    entry.keycode = static_cast<quint8>(*keycode);
    entry.modifiers = *modifiers;
    // The server would let this client take its own combination twice.
    if (isGrabbedHere(entry))
        return eventHotKeyExistsErr;

    xcb_connection_t* c = m_connection->get();
    const QList<quint16> variants = map.lockVariants();
    QList<xcb_void_cookie_t> cookies;
    for (const quint16 variant : variants) {
        cookies.append(xcb_grab_key_checked(c, 1, m_connection->root(), entry.modifiers | variant,
            entry.keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    }
    OSStatus status = noErr;
    QList<quint16> taken;
    for (qsizetype i = 0; i < cookies.size(); ++i) {
        std::unique_ptr<xcb_generic_error_t, FreeDeleter> error(xcb_request_check(c, cookies[i]));
        if (!error)
            taken.append(variants[i]);
        else if (status == noErr)
            status = error->error_code == badAccess ? eventHotKeyExistsErr : eventInternalErr;
    }
    if (status != noErr) {
        for (const quint16 variant : std::as_const(taken))
            xcb_ungrab_key(c, entry.keycode, m_connection->root(), entry.modifiers | variant);
        m_connection->flush();
        return status;
    }
    entry.grabbed = true;
    return noErr;
}

bool X11HotKeyService::isGrabbedHere(const Grab& entry) const
{
    for (const auto& [ref, other] : m_grabs) {
        if (other.grabbed && other.keycode == entry.keycode && other.modifiers == entry.modifiers)
            return true;
    }
    return false;
}

bool X11HotKeyService::isHeldByAnotherClient(quint32 keyCode, quint32 modifiers)
{
    if (!attach())
        return false;
    Grab probe{keyCode, modifiers, {}};
    const OSStatus status = grab(probe);
    if (status == noErr) {
        ungrab(probe);
        m_connection->flush();
        return false;
    }
    return status == eventHotKeyExistsErr && !isGrabbedHere(probe);
}

void X11HotKeyService::ungrab(Grab& entry)
{
    // Without the connection the server has already let go of every grab.
    if (!entry.grabbed || !m_connection)
        return;
    for (const quint16 variant : keyboardMap().lockVariants())
        xcb_ungrab_key(
            m_connection->get(), entry.keycode, m_connection->root(), entry.modifiers | variant);
    entry.grabbed = false;
}

void X11HotKeyService::keyboardChanged()
{
    // The server also announces a change when another keyboard device starts typing, with
    // the same mapping: only a different mapping calls for new grabs.
    X11KeyboardMap current = X11KeyboardMap::read(m_connection->get());
    if (m_keyboardMap && *m_keyboardMap == current)
        return;
    for (auto& [ref, entry] : m_grabs)
        ungrab(entry);
    m_connection->flush();
    m_keyboardMap = std::move(current);
    for (auto& [ref, entry] : m_grabs) {
        if (const OSStatus status = grab(entry); status != noErr)
            qCInfo(lcShortcuts) << "Hot key" << entry.id.id
                                << "lost with the keyboard change:" << status;
    }
}

const X11HotKeyService::Grab* X11HotKeyService::grabFor(quint8 keycode, quint16 state) const
{
    const quint16 modifiers = m_keyboardMap ? m_keyboardMap->withoutLocks(state) : state;
    for (const auto& [ref, entry] : m_grabs) {
        if (entry.grabbed && entry.keycode == keycode && entry.modifiers == modifiers)
            return &entry;
    }
    return nullptr;
}

bool X11HotKeyService::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const int type = event->response_type & ~0x80;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE)
        return false;
    const auto* key = reinterpret_cast<const xcb_key_press_event_t*>(event);
    if (type == XCB_KEY_PRESS) {
        // With detectable auto-repeat a held key repeats its press without releases.
        if (m_held.contains(key->detail))
            return true;
        const Grab* entry = grabFor(key->detail, key->state);
        if (!entry)
            return false;
        m_held.insert(key->detail, entry->id);
        deliver(KeyboardEvent::hotKeyPressed, entry->id);
        return true;
    }
    // The release may come with any state: it belongs to the press of the same key.
    const auto held = m_held.constFind(key->detail);
    if (held == m_held.cend())
        return false;
    const EventHotKeyID id = *held;
    m_held.erase(held);
    deliver(KeyboardEvent::hotKeyReleased, id);
    return true;
}

void X11HotKeyService::deliver(KeyboardEvent::Kind kind, EventHotKeyID id)
{
    if (!m_hotKeyEventsEnabled || !m_handler)
        return;
    KeyboardEvent event;
    event.kind = kind;
    event.hotKeyID = id;
    m_handler(&event);
}

} // namespace KeyboardShortcuts
