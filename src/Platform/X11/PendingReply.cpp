#include "Platform/X11/PendingReply.h"

#include <xcb/xcb.h>

#include <utility>

namespace Platform::X11 {

PendingReply& PendingReply::operator=(PendingReply&& other) noexcept
{
    if (this != &other) {
        discard();
        m_connection = std::exchange(other.m_connection, nullptr);
        m_sequence = other.m_sequence;
    }
    return *this;
}

void PendingReply::discard()
{
    if (m_connection)
        xcb_discard_reply(std::exchange(m_connection, nullptr), m_sequence);
}

} // namespace Platform::X11
