#pragma once

#include <QMap>
#include <QProcess>
#include <QString>

#include <chrono>
#include <memory>

// A private D-Bus session bus run by the session user, in a directory of that user's. Root
// (the test) and the session user may both connect to it, own names and have services
// started by it; the services run as the session user.
class SessionBus {
public:
    SessionBus() = default;
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    // Starts the bus in this directory of the session user's and waits until it listens;
    // false (see errorString) when it does not.
    bool start(const QString& directory, std::chrono::milliseconds timeout);
    QString errorString() const { return m_error; }
    QString address() const;
    qint64 pid() const;

    // The environment of the services the bus starts from now on (the variables are added).
    bool updateActivationEnvironment(const QMap<QString, QString>& variables) const;
    // Ends the bus.
    void stop();

private:
    bool writeConfig() const;
    QString socketPath() const { return m_directory + QStringLiteral("/bus"); }

    QString m_directory;
    std::unique_ptr<QProcess> m_daemon;
    QString m_error;
};
