#include "Cli/LaunchTracker.h"

#include <QEventLoop>
#include <QTimer>

LaunchTracker::LaunchTracker(std::unique_ptr<Platform::Applications> applications)
    : m_applications(std::move(applications))
{
}

bool LaunchTracker::waitForLaunches(int timeoutMs)
{
    if (m_pending == 0)
        return true;
    QEventLoop loop;
    QTimer timeout;
    timeout.setSingleShot(true);
    connect(&timeout, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(this, &LaunchTracker::allLaunchesCompleted, &loop, &QEventLoop::quit);
    timeout.start(timeoutMs);
    loop.exec();
    return m_pending == 0;
}

QList<Platform::RunningApplication> LaunchTracker::runningApplications()
{
    return m_applications->runningApplications();
}

std::optional<QString> LaunchTracker::applicationPath(const QString& bundleIdentifier)
{
    return m_applications->applicationPath(bundleIdentifier);
}

void LaunchTracker::launch(const QString& path, LaunchCompletion completion)
{
    ++m_pending;
    m_applications->launch(path,
        [this, completion = std::move(completion)](
            std::optional<Platform::RunningApplication> application, std::optional<QString> error) {
            completion(std::move(application), std::move(error));
            if (--m_pending == 0)
                Q_EMIT allLaunchesCompleted();
        });
}

void LaunchTracker::open(const QUrl& location)
{
    m_applications->open(location);
}
