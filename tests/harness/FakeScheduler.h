#pragma once

#include "Util/Scheduler.h"

#include <QList>
#include <QObject>
#include <QPointer>

#include <algorithm>

// Time that passes only when the test says so.
class FakeScheduler final : public Scheduler {
public:
    void schedule(std::chrono::milliseconds delay, std::function<void()> task) override
    {
        m_pending.append({m_now + delay, std::move(task), false, {}});
    }

    void schedule(std::chrono::milliseconds delay, const QObject& context,
        std::function<void()> task) override
    {
        m_pending.append({m_now + delay, std::move(task), true, &context});
    }

    // Lets `duration` pass, running every task that falls due, in order of due time.
    void advance(std::chrono::milliseconds duration)
    {
        const auto until = m_now + duration;
        dropOrphans();
        std::stable_sort(m_pending.begin(), m_pending.end(),
            [](const Pending& a, const Pending& b) { return a.due < b.due; });
        while (!m_pending.isEmpty() && m_pending.first().due <= until) {
            const Pending next = m_pending.takeFirst();
            m_now = next.due;
            if (!next.hasContext || next.context)
                next.task();
            dropOrphans();
            std::stable_sort(m_pending.begin(), m_pending.end(),
                [](const Pending& a, const Pending& b) { return a.due < b.due; });
        }
        m_now = until;
    }

    // The waits still pending; those whose context went away no longer count.
    qsizetype pendingCount()
    {
        dropOrphans();
        return m_pending.size();
    }

private:
    struct Pending {
        std::chrono::milliseconds due;
        std::function<void()> task;
        bool hasContext;
        QPointer<const QObject> context;
    };

    void dropOrphans()
    {
        m_pending.removeIf([](const Pending& pending) { return pending.hasContext && !pending.context; });
    }

    std::chrono::milliseconds m_now{0};
    QList<Pending> m_pending;
};
