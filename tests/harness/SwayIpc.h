#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QLocalSocket>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

// One connection to sway's IPC socket (the i3 protocol: "i3-ipc", length, type, JSON),
// used blocking, so tests need no event loop to talk to sway. A connection that subscribed
// to events keeps them, in order, until nextEvent() or waitForEvent() takes them.
class SwayIpc {
public:
    enum Request : quint32 { RunCommand = 0, Subscribe = 2, GetOutputs = 3, GetTree = 4 };

    struct Event {
        QString kind; // "window", "binding", "shutdown"...
        QJsonObject body;
    };

    explicit SwayIpc(const QString& socketPath);
    SwayIpc(const SwayIpc&) = delete;
    SwayIpc& operator=(const SwayIpc&) = delete;

    bool isConnected() const { return m_socket.state() == QLocalSocket::ConnectedState; }

    // The reply to one request, or nothing when sway did not answer in time.
    std::optional<QJsonDocument> request(Request type, const QByteArray& payload = {},
        std::chrono::milliseconds timeout = std::chrono::seconds(5));
    // True once sway has confirmed the subscription: no later event is missed.
    bool subscribe(const QStringList& events);

    std::optional<Event> nextEvent(std::chrono::milliseconds timeout);
    // Takes events until one matches; the others are dropped.
    std::optional<Event> waitForEvent(
        const std::function<bool(const Event&)>& matches, std::chrono::milliseconds timeout);

private:
    struct Message {
        quint32 type = 0;
        QByteArray payload;
    };
    std::optional<Message> readMessage(std::chrono::milliseconds timeout);
    bool waitForBytes(qint64 count, std::chrono::milliseconds timeout);

    QLocalSocket m_socket;
    QList<Event> m_events;
};
