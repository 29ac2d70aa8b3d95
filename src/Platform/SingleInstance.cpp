#include "Platform/SingleInstance.h"

#include "Util/Logging.h"

#include <QDir>
#include <QLocalSocket>
#include <QStandardPaths>

namespace {

constexpr int kTimeoutMs = 2000;
const QByteArray kShowRequest = "show\n";

} // namespace

SingleInstance::SingleInstance(const QString& name, QObject* parent) : QObject(parent), m_name(name)
{
}

QString SingleInstance::socketPath() const
{
    QString dir = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (dir.isEmpty())
        dir = QDir::tempPath();
    return dir + QLatin1Char('/') + m_name;
}

bool SingleInstance::claim()
{
    m_lock = std::make_unique<QLockFile>(socketPath() + QStringLiteral(".lock"));
    m_lock->setStaleLockTime(0);
    // A live holder is another instance, asked at once; the lock itself tells apart a
    // crashed one, whose lock it takes over without waiting.
    if (!m_lock->tryLock(0)) {
        m_forwarded = askPrimaryToShow();
        if (!m_forwarded)
            qCWarning(lcShell) << "Another Vantor holds" << m_lock->error() << "but did not answer";
        return false;
    }
    return listen();
}

bool SingleInstance::askPrimaryToShow() const
{
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    if (!socket.waitForConnected(kTimeoutMs))
        return false;
    socket.write(kShowRequest);
    if (!socket.waitForBytesWritten(kTimeoutMs))
        return false;
    // The primary answers once it has acted, so the caller may exit right away.
    return socket.waitForReadyRead(kTimeoutMs) && socket.readAll().startsWith("ok");
}

bool SingleInstance::listen()
{
    QLocalServer::removeServer(socketPath());
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(socketPath())) {
        qCWarning(lcShell) << "Cannot listen on" << socketPath() << m_server.errorString();
        return true; // still the primary, just not reachable by later instances
    }
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* client = m_server.nextPendingConnection()) {
            connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
            connect(client, &QLocalSocket::readyRead, this, [this, client] {
                if (!client->readAll().startsWith("show"))
                    return;
                Q_EMIT showRequested();
                client->write("ok\n");
                client->flush();
            });
        }
    });
    return true;
}
