#include "Util/Scheduler.h"

#include <QTimer>

void TimerScheduler::schedule(std::chrono::milliseconds delay, std::function<void()> task)
{
    QTimer::singleShot(delay, Qt::PreciseTimer, [task = std::move(task)] { task(); });
}

void TimerScheduler::schedule(
    std::chrono::milliseconds delay, const QObject& context, std::function<void()> task)
{
    QTimer::singleShot(delay, Qt::PreciseTimer, &context, [task = std::move(task)] { task(); });
}

std::shared_ptr<Scheduler> defaultScheduler()
{
    static const auto scheduler = std::make_shared<TimerScheduler>();
    return scheduler;
}
