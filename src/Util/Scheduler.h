#pragma once

#include <chrono>
#include <functional>
#include <memory>

class QObject;

// Runs work later on the main thread, never blocking it. Screens and view models take one
// so that tests can decide when time passes.
class Scheduler {
public:
    virtual ~Scheduler() = default;

    // Runs `task` once, on the thread that asked, when `delay` has passed. Every call starts
    // a wait of its own.
    virtual void schedule(std::chrono::milliseconds delay, std::function<void()> task) = 0;
    // As above, but the wait ends unheard when `context` is destroyed first: nothing is left
    // pending for an object that went away.
    virtual void schedule(
        std::chrono::milliseconds delay, const QObject& context, std::function<void()> task)
        = 0;
};

// Waits on the event loop's timers.
class TimerScheduler final : public Scheduler {
public:
    void schedule(std::chrono::milliseconds delay, std::function<void()> task) override;
    void schedule(std::chrono::milliseconds delay, const QObject& context,
        std::function<void()> task) override;
};

// The scheduler of this process: timers of the running event loop.
std::shared_ptr<Scheduler> defaultScheduler();
