#include "SessionBus.h"

#include "SessionUser.h"
#include "TestDesktop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QFile>
#include <QFileInfo>

namespace {

// Anyone who reaches the socket may connect, own any name and watch any message: root and
// the session user share this bus, and nothing else can enter the session user's directory.
const char* const busConfig = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=%1</listen>
  <auth>EXTERNAL</auth>
  <standard_session_servicedirs/>
  <policy context="default">
    <allow user="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

} // namespace

SessionBus::~SessionBus()
{
    stop();
}

bool SessionBus::writeConfig() const
{
    QFile file(m_directory + QStringLiteral("/bus.conf"));
    const QByteArray contents = QString::fromLatin1(busConfig).arg(socketPath()).toUtf8();
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write(contents) == contents.size();
}

bool SessionBus::start(const QString& directory, std::chrono::milliseconds timeout)
{
    m_directory = directory;
    if (!writeConfig()) {
        m_error = QStringLiteral("cannot write the session bus's config");
        return false;
    }
    m_daemon = std::make_unique<QProcess>();
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("PATH"), qEnvironmentVariable("PATH"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_directory);
    m_daemon->setProcessEnvironment(environment);
    m_daemon->setStandardInputFile(QProcess::nullDevice());
    m_daemon->setStandardOutputFile(m_directory + QStringLiteral("/bus.log"));
    m_daemon->setStandardErrorFile(m_directory + QStringLiteral("/bus.log"), QIODevice::Append);
    m_daemon->start(QStringLiteral("setpriv"),
        SessionUser::command(QStringLiteral("dbus-daemon"),
            {QStringLiteral("--config-file=%1/bus.conf").arg(m_directory),
                QStringLiteral("--nofork"), QStringLiteral("--nopidfile")}));
    if (!m_daemon->waitForStarted(5000)) {
        m_error = QStringLiteral("dbus-daemon did not start: ") + m_daemon->errorString();
        return false;
    }
    // The socket is there once the bus listens on it.
    const bool listening = TestDesktop::waitUntil(
        [this] { return QFileInfo(socketPath()).exists() || m_daemon->waitForFinished(0); },
        timeout);
    if (!listening || m_daemon->state() == QProcess::NotRunning) {
        QFile log(m_directory + QStringLiteral("/bus.log"));
        log.open(QIODevice::ReadOnly);
        m_error
            = QStringLiteral("the session bus did not start: ") + QString::fromUtf8(log.readAll());
        return false;
    }
    return true;
}

QString SessionBus::address() const
{
    return QStringLiteral("unix:path=") + socketPath();
}

qint64 SessionBus::pid() const
{
    return m_daemon ? m_daemon->processId() : 0;
}

bool SessionBus::updateActivationEnvironment(const QMap<QString, QString>& variables) const
{
    // A connection of its own: the test's connections may belong to another bus.
    const QString name = QStringLiteral("vantor-activation-") + m_directory;
    QDBusConnection bus = QDBusConnection::connectToBus(address(), name);
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("UpdateActivationEnvironment"));
    qDBusRegisterMetaType<QMap<QString, QString>>();
    call << QVariant::fromValue(variables);
    const QDBusMessage reply = bus.call(call, QDBus::Block, 5000);
    QDBusConnection::disconnectFromBus(name);
    return reply.type() == QDBusMessage::ReplyMessage;
}

void SessionBus::stop()
{
    if (!m_daemon || m_daemon->state() == QProcess::NotRunning)
        return;
    m_daemon->terminate();
    if (!m_daemon->waitForFinished(3000))
        m_daemon->kill();
    m_daemon->waitForFinished(2000);
}
