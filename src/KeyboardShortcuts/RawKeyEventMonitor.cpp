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
    KeyboardEvent raw;
    raw.keyCode = key->keyCode;
    raw.modifiers = key->modifiers;
    if (keyEvent->isAutoRepeat())
        raw.kind = KeyboardEvent::rawKeyRepeat;
    else
        raw.kind = type == QEvent::KeyPress ? KeyboardEvent::rawKeyDown : KeyboardEvent::rawKeyUp;
    return m_callback(raw) == noErr;
}

} // namespace KeyboardShortcuts
