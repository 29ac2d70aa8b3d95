#pragma once

#include "KeyboardShortcuts/HotKeyService.h"

#include <QObject>

#include <functional>
#include <optional>

class QKeyEvent;

namespace KeyboardShortcuts {

// Watches the key events that reach the application, for the time a menu holds the
// keyboard and hot keys cannot fire: each key press and release goes to the callback as a raw
// key event (auto-repeats as repeats), and is swallowed when the callback handles it.
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

    Translate m_translate;
    Matches m_matches;
    Callback m_callback;
    bool m_running = false;
};

} // namespace KeyboardShortcuts
