#pragma once

#include "Platform/Applications.h"

#include <QObject>

#include <memory>

// Passes everything to the real applications service and counts the launches whose
// completion has not run yet, so a command can stay until they have.
class LaunchTracker final : public QObject, public Platform::Applications {
    Q_OBJECT

public:
    explicit LaunchTracker(std::unique_ptr<Platform::Applications> applications);

    int pendingLaunches() const { return m_pending; }
    // Runs the event loop until every launch completed or the timeout passed; false then.
    bool waitForLaunches(int timeoutMs);

    QList<Platform::RunningApplication> runningApplications() override;
    std::optional<QString> applicationPath(const QString& bundleIdentifier) override;
    void launch(const QString& path, LaunchCompletion completion) override;
    void open(const QUrl& location) override;

Q_SIGNALS:
    void allLaunchesCompleted();

private:
    std::unique_ptr<Platform::Applications> m_applications;
    int m_pending = 0;
};
