#pragma once

#include "Platform/WindowSystem.h"
#include "Platform/X11/Properties.h"

#include <QList>

#include <cstdint>
#include <vector>

namespace Platform::X11 {

class Connection;

// Which process owns each window. The X server knows the PID of its local clients (XRes);
// for others the window's own _NET_WM_PID claim is taken. All questions are sent at once.
class ProcessIdQuery {
public:
    ProcessIdQuery(const Connection& connection, const QList<std::uint32_t>& windows);
    ProcessIdQuery(const ProcessIdQuery&) = delete;
    ProcessIdQuery& operator=(const ProcessIdQuery&) = delete;

    // One PID per window, in the order given; 0 where the owner is unknown.
    QList<ProcessId> take();

private:
    QList<ProcessId> takeServerPids();

    const Connection& m_connection;
    QList<std::uint32_t> m_windows;
    PendingReply m_serverQuery;
    std::vector<PropertyRequest> m_claims;
};

} // namespace Platform::X11
