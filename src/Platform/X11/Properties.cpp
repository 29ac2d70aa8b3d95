#include "Platform/X11/Properties.h"

#include "Platform/X11/Connection.h"

#include <xcb/xcb.h>

namespace Platform::X11 {

PropertyRequest::PropertyRequest(
    const Connection& connection, std::uint32_t window, Atom name, std::uint32_t maxValues)
    : PropertyRequest(connection, window, connection.atom(name), maxValues)
{
}

PropertyRequest::PropertyRequest(
    const Connection& connection, std::uint32_t window, std::uint32_t atom, std::uint32_t maxValues)
    : m_pending(connection.get(),
        xcb_get_property(connection.get(), 0, window, atom, XCB_GET_PROPERTY_TYPE_ANY, 0, maxValues)
            .sequence)
{
}

Reply<xcb_get_property_reply_t> PropertyRequest::take()
{
    Reply<xcb_get_property_reply_t> reply = takeReply(m_pending, xcb_get_property_reply);
    if (!reply || reply->type == XCB_ATOM_NONE)
        return nullptr;
    return reply;
}

QList<std::uint32_t> values32(const xcb_get_property_reply_t* reply)
{
    QList<std::uint32_t> values;
    if (!reply || reply->format != 32)
        return values;
    const auto* data = static_cast<const std::uint32_t*>(xcb_get_property_value(reply));
    const int count = xcb_get_property_value_length(reply) / 4;
    values.reserve(count);
    for (int i = 0; i < count; ++i)
        values.append(data[i]);
    return values;
}

std::optional<std::uint32_t> firstValue32(const xcb_get_property_reply_t* reply)
{
    const QList<std::uint32_t> values = values32(reply);
    if (values.isEmpty())
        return std::nullopt;
    return values.first();
}

QStringList texts(const xcb_get_property_reply_t* reply)
{
    QStringList result;
    if (!reply || reply->format != 8)
        return result;
    const QByteArray bytes(static_cast<const char*>(xcb_get_property_value(reply)),
        xcb_get_property_value_length(reply));
    for (const QByteArray& part : bytes.split('\0'))
        result.append(QString::fromUtf8(part));
    // A trailing NUL ends the last text rather than starting an empty one.
    if (bytes.endsWith('\0'))
        result.removeLast();
    return result;
}

Extents extentsOf(const xcb_get_property_reply_t* reply)
{
    const QList<std::uint32_t> values = values32(reply);
    if (values.size() < 4)
        return {};
    // Extents are CARDINALs; GTK's shadow margins are never negative either.
    auto toInt
        = [](std::uint32_t value) { return static_cast<int>(static_cast<std::int32_t>(value)); };
    return {toInt(values[0]), toInt(values[1]), toInt(values[2]), toInt(values[3])};
}

} // namespace Platform::X11
