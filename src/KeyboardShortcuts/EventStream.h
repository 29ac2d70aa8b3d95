#pragma once

#include "KeyboardShortcuts/Shortcut.h"

#include <QObject>

#include <functional>
#include <optional>

namespace KeyboardShortcuts {

// The key events of one name, as a stream: eventReceived() for each event until the stream
// ends by cancel() or by being destroyed.
class EventStream : public QObject {
    Q_OBJECT

public:
    // With a type, only events of that type are delivered.
    explicit EventStream(std::optional<EventType> only = std::nullopt);
    ~EventStream() override;
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;

    // Runs once, when the stream ends.
    void setOnTermination(std::function<void()> onTermination);
    void cancel();
    bool isTerminated() const { return m_terminated; }

    void yield(EventType type);

Q_SIGNALS:
    void eventReceived(KeyboardShortcuts::EventType type);

private:
    std::optional<EventType> m_only;
    std::function<void()> m_onTermination;
    bool m_terminated = false;
};

} // namespace KeyboardShortcuts
