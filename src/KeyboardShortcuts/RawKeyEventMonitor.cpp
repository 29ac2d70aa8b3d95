#include "KeyboardShortcuts/RawKeyEventMonitor.h"

#include <QCoreApplication>
#include <QKeyEvent>

namespace KeyboardShortcuts {

RawKeyEventMonitor::RawKeyEventMonitor(
    Translate translate, Matches matches, Callback callback, QObject* parent)
    : QObject(parent),
      m_translate(std::move(translate)),
      m_matches(std::move(matches)),
      m_callback(std::move(callback))
{
}

RawKeyEventMonitor::~RawKeyEventMonitor()
{
    stop();
}

void RawKeyEventMonitor::start()
{
    if (m_running || !QCoreApplication::instance())
        return;
    QCoreApplication::instance()->installEventFilter(this);
    m_pressed.clear();
    m_running = true;
}

void RawKeyEventMonitor::stop()
{
    if (!m_running)
        return;
    if (QCoreApplication::instance())
        QCoreApplication::instance()->removeEventFilter(this);
    m_running = false;
}

std::optional<RawKey> RawKeyEventMonitor::translate(const QKeyEvent& event) const
{
    return m_translate(event.nativeScanCode(), event.nativeModifiers());
}

bool RawKeyEventMonitor::eventFilter(QObject* watched, QEvent* event)
{
    const QEvent::Type type = event->type();
    if (type != QEvent::KeyPress && type != QEvent::KeyRelease && type != QEvent::ShortcutOverride)
        return QObject::eventFilter(watched, event);
    auto* keyEvent = static_cast<QKeyEvent*>(event);
    const auto key = translate(*keyEvent);
    if (!key)
        return false;
    if (type == QEvent::ShortcutOverride) {
        // Claim the key from the application's own shortcuts, so that the key press that
        // follows reaches this filter.
        if (!m_matches(*key))
            return false;
        keyEvent->accept();
        return true;
    }
    if (keyEvent->isAutoRepeat())
        return m_callback(rawEvent(KeyboardEvent::rawKeyRepeat, *key)) == noErr;
    const quint32 scanCode = keyEvent->nativeScanCode();
    if (type == QEvent::KeyPress) {
        const bool handled = m_callback(rawEvent(KeyboardEvent::rawKeyDown, *key)) == noErr;
        if (handled)
            m_pressed.insert(scanCode, *key);
        return handled;
    }
    // The modifiers may be let go before the key: a handled press decides its release.
    const auto held = m_pressed.constFind(scanCode);
    const RawKey pressed = held != m_pressed.cend() ? *held : *key;
    m_pressed.remove(scanCode);
    return m_callback(rawEvent(KeyboardEvent::rawKeyUp, pressed)) == noErr;
}

KeyboardEvent RawKeyEventMonitor::rawEvent(KeyboardEvent::Kind kind, const RawKey& key)
{
    KeyboardEvent event;
    event.kind = kind;
    event.keyCode = key.keyCode;
    event.modifiers = key.modifiers;
    return event;
}

} // namespace KeyboardShortcuts
