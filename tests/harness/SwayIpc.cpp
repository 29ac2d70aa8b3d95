#include "SwayIpc.h"

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QtDebug>
#include <QtEndian>

namespace {

constexpr QByteArrayView magic = "i3-ipc";
constexpr qsizetype headerSize = 6 + 4 + 4;
constexpr quint32 eventBit = 0x80000000u;

QString eventKind(quint32 type)
{
    static const QStringList kinds = {QStringLiteral("workspace"), QStringLiteral("output"),
        QStringLiteral("mode"), QStringLiteral("window"), QStringLiteral("barconfig_update"),
        QStringLiteral("binding"), QStringLiteral("shutdown"), QStringLiteral("tick")};
    const quint32 index = type & ~eventBit;
    return index < static_cast<quint32>(kinds.size()) ? kinds.at(index)
                                                      : QStringLiteral("event-%1").arg(index);
}

std::chrono::milliseconds remaining(const QDeadlineTimer& deadline)
{
    return std::chrono::milliseconds(deadline.remainingTime());
}

} // namespace

SwayIpc::SwayIpc(const QString& socketPath)
{
    m_socket.connectToServer(socketPath);
    if (!m_socket.waitForConnected(5000))
        qWarning() << "Cannot reach sway at" << socketPath << m_socket.errorString();
}

std::optional<QJsonDocument> SwayIpc::request(
    Request type, const QByteArray& payload, std::chrono::milliseconds timeout)
{
    QByteArray message(headerSize, Qt::Uninitialized);
    std::copy(magic.begin(), magic.end(), message.begin());
    qToLittleEndian<quint32>(static_cast<quint32>(payload.size()), message.data() + 6);
    qToLittleEndian<quint32>(type, message.data() + 10);
    m_socket.write(message + payload);
    if (!m_socket.waitForBytesWritten(static_cast<int>(timeout.count())))
        return std::nullopt;
    const QDeadlineTimer deadline(timeout);
    while (const auto reply = readMessage(remaining(deadline))) {
        if (reply->type & eventBit)
            m_events.append(
                {eventKind(reply->type), QJsonDocument::fromJson(reply->payload).object()});
        else if (reply->type == type)
            return QJsonDocument::fromJson(reply->payload);
    }
    return std::nullopt;
}

bool SwayIpc::subscribe(const QStringList& events)
{
    const auto reply
        = request(Subscribe, QJsonDocument(QJsonArray::fromStringList(events)).toJson());
    return reply && reply->object().value(QLatin1String("success")).toBool();
}

std::optional<SwayIpc::Event> SwayIpc::nextEvent(std::chrono::milliseconds timeout)
{
    if (!m_events.isEmpty())
        return m_events.takeFirst();
    const QDeadlineTimer deadline(timeout);
    while (const auto message = readMessage(remaining(deadline))) {
        if (message->type & eventBit)
            return Event{
                eventKind(message->type), QJsonDocument::fromJson(message->payload).object()};
    }
    return std::nullopt;
}

std::optional<SwayIpc::Event> SwayIpc::waitForEvent(
    const std::function<bool(const Event&)>& matches, std::chrono::milliseconds timeout)
{
    const QDeadlineTimer deadline(timeout);
    while (const auto event = nextEvent(remaining(deadline))) {
        if (matches(*event))
            return event;
    }
    return std::nullopt;
}

std::optional<SwayIpc::Message> SwayIpc::readMessage(std::chrono::milliseconds timeout)
{
    const QDeadlineTimer deadline(timeout);
    if (!waitForBytes(headerSize, remaining(deadline)))
        return std::nullopt;
    const QByteArray header = m_socket.peek(headerSize);
    if (!header.startsWith(magic.data())) {
        qWarning() << "Not a sway IPC message:" << header.toHex();
        m_socket.abort();
        return std::nullopt;
    }
    const auto length = qFromLittleEndian<quint32>(header.constData() + 6);
    if (!waitForBytes(headerSize + length, remaining(deadline)))
        return std::nullopt;
    m_socket.skip(headerSize);
    Message message;
    message.type = qFromLittleEndian<quint32>(header.constData() + 10);
    message.payload = m_socket.read(length);
    return message;
}

bool SwayIpc::waitForBytes(qint64 count, std::chrono::milliseconds timeout)
{
    const QDeadlineTimer deadline(timeout);
    while (m_socket.bytesAvailable() < count) {
        if (deadline.hasExpired() || !isConnected()
            || !m_socket.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
            return false;
    }
    return true;
}
