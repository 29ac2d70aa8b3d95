#pragma once

#include "Models/AppInfo.h"
#include "Platform/WindowSystem.h"

#include <QList>
#include <QObject>

#include <memory>
#include <optional>

// What became of one app of an activation.
struct AppOutcome {
    enum class State {
        Pending, // being launched
        Skipped, // the record names no app
        AlreadyRunning,
        Launched, // its main window came on screen
        NotInstalled,
        Failed,
        TimedOut,
    };
    State state = State::Pending;
    bool placed = false; // its windows were sent to the app's frame for this screen
    std::optional<Platform::ProcessId> pid;
    QString error; // Failed: why

    bool isFinal() const { return state != State::Pending; }
    bool isSuccess() const
    {
        return state == State::AlreadyRunning || state == State::Launched
            || state == State::Skipped;
    }
};

// One activation of a list of apps: each app's outcome as it becomes known. Running apps
// are known at once, launched ones when their window comes, fails or times out.
class Activation final : public QObject {
    Q_OBJECT

public:
    explicit Activation(QList<AppInfoPtr> apps);

    const QList<AppInfoPtr>& apps() const { return m_apps; }
    const QList<AppOutcome>& outcomes() const { return m_outcomes; }
    // No app is being launched any more.
    bool isFinished() const { return m_pending == 0; }
    // Some app could not be found, failed to launch or timed out (so far).
    bool hasFailures() const;

    void setLaunching(qsizetype index);
    void setOutcome(qsizetype index, const AppOutcome& outcome);

Q_SIGNALS:
    void appLaunching(qsizetype index);
    void appFinished(qsizetype index);
    void finished();

private:
    QList<AppInfoPtr> m_apps;
    QList<AppOutcome> m_outcomes;
    QList<bool> m_launching;
    int m_pending = 0;
};

using ActivationPtr = std::shared_ptr<Activation>;
