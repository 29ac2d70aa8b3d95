#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <optional>

// The framing of sway's (and i3's) IPC socket: the magic "i3-ipc", the payload's length and
// the message type as 32-bit integers in the machine's byte order, then the JSON payload.
namespace Platform::Sway {

enum class MessageType : quint32 {
    RunCommand = 0,
    Subscribe = 2,
    GetOutputs = 3,
    GetTree = 4,
    GetVersion = 7,
    GetConfig = 9,
};

// Events carry the high bit in their type.
enum class EventType : quint32 {
    Window = 0x80000003,
    Binding = 0x80000005,
};

struct Message {
    quint32 type = 0;
    QByteArray payload;

    bool isEvent() const { return type & 0x80000000u; }
};

QByteArray encodeMessage(MessageType type, const QByteArray& payload);

// Takes whole messages off a byte stream as it arrives.
class MessageReader {
public:
    void append(const QByteArray& bytes) { m_buffer.append(bytes); }
    // The next whole message, or none until more bytes arrive. Bytes that are not a message
    // make the reader fail for good.
    std::optional<Message> next();
    bool hasFailed() const { return m_failed; }

private:
    QByteArray m_buffer;
    bool m_failed = false;
};

} // namespace Platform::Sway
