#pragma once

#include "KeyboardShortcuts/HotKeyService.h"

#include <QHash>
#include <QObject>

#include <functional>
#include <optional>

class QKeyEvent;

namespace KeyboardShortcuts {

// Watches the key events that reach the application, for the time a menu holds the
// keyboard and hot keys cannot fire: each key press and release goes to the callback as a raw
// key event (auto-repeats as repeats), and is swallowed when the callback handles it. The
// release of a handled press carries the modifiers of the press.
class RawKeyEventMonitor : public QObject {
    Q_OBJECT

public:
    using Translate
        = std::function<std::optional<RawKey>(quint32 nativeScanCode, quint32 nativeModifiers)>;
    using Matches = std::function<bool(const RawKey& key)>;
    using Callback = std::function<OSStatus(const KeyboardEvent& event)>;

    RawKeyEventMonitor(
        Translate translate, Matches matches, Callback callback, QObject* parent = nullptr);
    ~RawKeyEventMonitor() override;

    void start();
    void stop();
    bool isRunning() const { return m_running; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::optional<RawKey> translate(const QKeyEvent& event) const;
    static KeyboardEvent rawEvent(KeyboardEvent::Kind kind, const RawKey& key);

    Translate m_translate;
    Matches m_matches;
    Callback m_callback;
    // Handled presses by native scan code, until their release.
    QHash<quint32, RawKey> m_pressed;
    bool m_running = false;
};

} // namespace KeyboardShortcuts
