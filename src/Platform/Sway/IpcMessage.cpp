#include "Platform/Sway/IpcMessage.h"

#include <cstring>

namespace Platform::Sway {
namespace {

constexpr char magic[] = {'i', '3', '-', 'i', 'p', 'c'};
constexpr qsizetype headerSize = sizeof(magic) + 2 * sizeof(quint32);
// A whole tree of a busy desktop is a few megabytes; anything far beyond is not sway talking.
constexpr quint32 maximumPayload = 256u << 20;

quint32 readNumber(const char* bytes)
{
    quint32 value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

void appendNumber(QByteArray& bytes, quint32 value)
{
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

} // namespace

QByteArray encodeMessage(MessageType type, const QByteArray& payload)
{
    QByteArray bytes;
    bytes.reserve(headerSize + payload.size());
    bytes.append(magic, sizeof magic);
    appendNumber(bytes, quint32(payload.size()));
    appendNumber(bytes, quint32(type));
    bytes.append(payload);
    return bytes;
}

std::optional<Message> MessageReader::next()
{
    if (m_failed || m_buffer.size() < headerSize)
        return std::nullopt;
    if (std::memcmp(m_buffer.constData(), magic, sizeof magic) != 0) {
        m_failed = true;
        return std::nullopt;
    }
    const quint32 length = readNumber(m_buffer.constData() + sizeof magic);
    if (length > maximumPayload) {
        m_failed = true;
        return std::nullopt;
    }
    if (m_buffer.size() < headerSize + qsizetype(length))
        return std::nullopt;
    Message message;
    message.type = readNumber(m_buffer.constData() + sizeof magic + sizeof(quint32));
    message.payload = m_buffer.mid(headerSize, length);
    m_buffer.remove(0, headerSize + length);
    return message;
}

} // namespace Platform::Sway
