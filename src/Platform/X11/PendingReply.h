#pragma once

#include "Platform/X11/Reply.h"

struct xcb_connection_t;

namespace Platform::X11 {

// A request that was sent and whose reply is still to be read. Requests are sent in
// batches and their replies read afterwards, so that the server answers them all in one
// round trip. A reply that is never taken is discarded.
class PendingReply {
public:
    PendingReply() = default;
    PendingReply(xcb_connection_t* connection, unsigned sequence)
        : m_connection(connection), m_sequence(sequence)
    {
    }
    ~PendingReply() { discard(); }
    PendingReply(PendingReply&& other) noexcept { *this = static_cast<PendingReply&&>(other); }
    PendingReply& operator=(PendingReply&& other) noexcept;
    PendingReply(const PendingReply&) = delete;
    PendingReply& operator=(const PendingReply&) = delete;

    bool isPending() const { return m_connection != nullptr; }
    xcb_connection_t* connection() const { return m_connection; }
    // Hands the sequence number over to whoever reads the reply now.
    unsigned release()
    {
        m_connection = nullptr;
        return m_sequence;
    }

private:
    void discard();

    xcb_connection_t* m_connection = nullptr;
    unsigned m_sequence = 0;
};

// Reads the reply with xcb's typed reply function; null when the request failed (the
// window went away, for one). The error never reaches the event queue.
template <typename ReplyT, typename Cookie, typename Error>
Reply<ReplyT> takeReply(
    PendingReply& pending, ReplyT* (*replyFunction)(xcb_connection_t*, Cookie, Error**))
{
    if (!pending.isPending())
        return nullptr;
    xcb_connection_t* connection = pending.connection();
    Error* rawError = nullptr;
    Reply<ReplyT> reply(replyFunction(connection, Cookie{pending.release()}, &rawError));
    const Reply<Error> error(rawError);
    return reply;
}

} // namespace Platform::X11
