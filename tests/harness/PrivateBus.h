#pragma once

#include <QFile>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// A D-Bus session bus of the test's own, with no service directories: a call to a service
// that is not there fails at once rather than starting the real one.
class PrivateBus {
public:
    PrivateBus() = default;
    ~PrivateBus() { stop(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    // Starts the bus and waits for its address; false when it does not come up.
    bool start()
    {
        if (!m_directory.isValid() || !writeConfig())
            return false;
        m_daemon.start(QStringLiteral("dbus-daemon"),
            {QStringLiteral("--config-file=") + configPath(), QStringLiteral("--nofork"),
                QStringLiteral("--print-address")});
        if (!m_daemon.waitForStarted() || !m_daemon.waitForReadyRead(10000))
            return false;
        m_address = QString::fromLatin1(m_daemon.readLine().trimmed());
        return !m_address.isEmpty();
    }

    void stop()
    {
        if (m_daemon.state() == QProcess::NotRunning)
            return;
        m_daemon.kill();
        m_daemon.waitForFinished();
    }

    QString address() const { return m_address; }

private:
    QString configPath() const { return m_directory.filePath(QStringLiteral("bus.conf")); }

    bool writeConfig() const
    {
        QFile config(configPath());
        if (!config.open(QIODevice::WriteOnly))
            return false;
        config.write(QStringLiteral(R"(<busconfig>
              <type>session</type>
              <listen>unix:dir=%1</listen>
              <auth>EXTERNAL</auth>
              <policy context="default">
                <allow send_destination="*" eavesdrop="true"/>
                <allow eavesdrop="true"/>
                <allow own="*"/>
              </policy>
            </busconfig>)")
                         .arg(m_directory.path())
                         .toUtf8());
        return true;
    }

    QTemporaryDir m_directory;
    QProcess m_daemon;
    QString m_address;
};
