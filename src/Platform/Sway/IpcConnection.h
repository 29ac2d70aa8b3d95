#pragma once

#include "Platform/Sway/IpcMessage.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QObject>
#include <QStringList>

#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace Platform::Sway {

// One connection to sway's IPC socket. Requests are pipelined: replies come back in the
// order of the requests, each to its own handler.
class IpcConnection : public QObject {
    Q_OBJECT

public:
    // Connects at once (a local socket answers or refuses immediately).
    explicit IpcConnection(const QString& socketPath, QObject* parent = nullptr);
    // A connection of its own that hands every event of one kind to `handler`.
    static std::unique_ptr<IpcConnection> listening(const QString& socketPath, EventType type,
        std::function<void(const QJsonObject& event)> handler);
    ~IpcConnection() override;

    bool isConnected() const;

    using ReplyHandler = std::function<void(const QJsonDocument& reply)>;
    // Sends without waiting; the handler runs when the reply arrives (from the event loop,
    // or from within a later request that waits).
    void send(MessageType type, const QByteArray& payload, ReplyHandler handler = {});
    // Hands what was sent so far to the socket now rather than from the event loop.
    void flush();
    // Sends and waits for the reply, a few seconds at most; none when sway is gone or silent.
    std::optional<QJsonDocument> request(MessageType type, const QByteArray& payload = {});
    // Waits until every request sent so far has been answered; false when sway went away.
    bool waitForReplies();
    // Events of these kinds ("window", "binding"...) arrive through
    // eventReceived from now on. A connection cannot be unsubscribed: drop it instead.
    bool subscribe(const QStringList& events);

Q_SIGNALS:
    void eventReceived(Platform::Sway::EventType type, const QJsonObject& event);
    // Sway closed the connection (it exited, or the connection broke); emitted once.
    void disconnected();

private:
    void readAvailable();
    void handle(const Message& message);
    bool waitUntil(const std::function<bool()>& done);
    void close();

    QLocalSocket m_socket;
    MessageReader m_reader;
    std::deque<ReplyHandler> m_pendingReplies;
    bool m_closed = false;
};

} // namespace Platform::Sway
