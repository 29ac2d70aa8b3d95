#include "Platform/Sway/IpcConnection.h"

#include "Util/Logging.h"

#include <QDeadlineTimer>
#include <QJsonArray>

namespace Platform::Sway {
namespace {

// Sway answers within milliseconds; a reply that takes this long is not coming.
constexpr int replyTimeoutMs = 3000;

QString eventName(EventType type)
{
    switch (type) {
    case EventType::Window:
        return QStringLiteral("window");
    case EventType::Binding:
        return QStringLiteral("binding");
    }
    return {};
}

} // namespace

IpcConnection::IpcConnection(const QString& socketPath, QObject* parent) : QObject(parent)
{
    connect(&m_socket, &QLocalSocket::readyRead, this, &IpcConnection::readAvailable);
    connect(&m_socket, &QLocalSocket::disconnected, this, &IpcConnection::close);
    m_socket.connectToServer(socketPath);
    if (!m_socket.waitForConnected(replyTimeoutMs)) {
        qCWarning(lcWindows).noquote()
            << "Cannot reach sway at" << socketPath << "-" << m_socket.errorString();
        m_closed = true;
    }
}

std::unique_ptr<IpcConnection> IpcConnection::listening(const QString& socketPath, EventType type,
    std::function<void(const QJsonObject& event)> handler)
{
    auto connection = std::make_unique<IpcConnection>(socketPath);
    QObject::connect(connection.get(), &IpcConnection::eventReceived, connection.get(),
        [type, handler = std::move(handler)](EventType received, const QJsonObject& event) {
            if (received == type)
                handler(event);
        });
    connection->subscribe({eventName(type)});
    return connection;
}

IpcConnection::~IpcConnection()
{
    m_closed = true; // no signals while the socket is taken down
    m_socket.disconnect(this);
}

bool IpcConnection::isConnected() const
{
    return !m_closed && m_socket.state() == QLocalSocket::ConnectedState;
}

void IpcConnection::send(MessageType type, const QByteArray& payload, ReplyHandler handler)
{
    if (!isConnected())
        return;
    m_pendingReplies.push_back(std::move(handler));
    m_socket.write(encodeMessage(type, payload));
}

std::optional<QJsonDocument> IpcConnection::request(MessageType type, const QByteArray& payload)
{
    std::optional<QJsonDocument> reply;
    bool answered = false;
    send(type, payload, [&](const QJsonDocument& document) {
        reply = document;
        answered = true;
    });
    if (!waitUntil([&] { return answered; }))
        return std::nullopt;
    return reply;
}

void IpcConnection::flush()
{
    if (isConnected())
        m_socket.flush();
}

bool IpcConnection::waitForReplies()
{
    return waitUntil([this] { return m_pendingReplies.empty(); });
}

bool IpcConnection::subscribe(const QStringList& events)
{
    const auto reply = request(MessageType::Subscribe,
        QJsonDocument(QJsonArray::fromStringList(events)).toJson(QJsonDocument::Compact));
    return reply && reply->object().value(QLatin1String("success")).toBool();
}

bool IpcConnection::waitUntil(const std::function<bool()>& done)
{
    const QDeadlineTimer deadline(replyTimeoutMs);
    m_socket.flush();
    while (!done() && isConnected()) {
        if (!m_socket.waitForReadyRead(int(deadline.remainingTime())))
            break;
        readAvailable();
    }
    if (!done() && isConnected()) {
        qCWarning(lcWindows) << "Sway did not answer in time";
        m_socket.abort();
        close();
    }
    return done();
}

void IpcConnection::readAvailable()
{
    if (m_closed)
        return;
    m_reader.append(m_socket.readAll());
    while (const auto message = m_reader.next())
        handle(*message);
    if (m_reader.hasFailed()) {
        qCWarning(lcWindows) << "Sway's IPC sent something that is not a message; disconnecting";
        m_socket.abort();
        close();
    }
}

void IpcConnection::handle(const Message& message)
{
    const QJsonDocument document = QJsonDocument::fromJson(message.payload);
    if (message.isEvent()) {
        if (document.isObject())
            Q_EMIT eventReceived(EventType(message.type), document.object());
        return;
    }
    if (m_pendingReplies.empty())
        return;
    ReplyHandler handler = std::move(m_pendingReplies.front());
    m_pendingReplies.pop_front();
    if (handler)
        handler(document);
}

void IpcConnection::close()
{
    if (m_closed)
        return;
    m_closed = true;
    m_pendingReplies.clear();
    Q_EMIT disconnected();
}

} // namespace Platform::Sway
