#include "KeyboardShortcuts/EventStream.h"

namespace KeyboardShortcuts {

EventStream::EventStream(std::optional<EventType> only) : m_only(only)
{
}

EventStream::~EventStream()
{
    cancel();
}

void EventStream::setOnTermination(std::function<void()> onTermination)
{
    m_onTermination = std::move(onTermination);
}

void EventStream::cancel()
{
    if (m_terminated)
        return;
    m_terminated = true;
    if (auto onTermination = std::exchange(m_onTermination, {}))
        onTermination();
}

void EventStream::yield(EventType type)
{
    if (m_terminated || (m_only && *m_only != type))
        return;
    Q_EMIT eventReceived(type);
}

} // namespace KeyboardShortcuts
