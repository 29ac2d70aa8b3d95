#include "Platform/X11/ProcessIds.h"

#include "Platform/X11/Connection.h"

#include <xcb/res.h>
#include <xcb/xcb.h>

#include <QHash>

namespace Platform::X11 {

ProcessIdQuery::ProcessIdQuery(const Connection& connection, const QList<std::uint32_t>& windows)
    : m_connection(connection), m_windows(windows)
{
    if (connection.hasResourceExtension() && !windows.isEmpty()) {
        std::vector<xcb_res_client_id_spec_t> specs;
        specs.reserve(static_cast<std::size_t>(windows.size()));
        for (std::uint32_t window : windows)
            specs.push_back({window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
        const auto cookie = xcb_res_query_client_ids(
            connection.get(), static_cast<std::uint32_t>(specs.size()), specs.data());
        m_serverQuery = PendingReply(connection.get(), cookie.sequence);
    }
    m_claims.reserve(static_cast<std::size_t>(windows.size()));
    for (std::uint32_t window : windows)
        m_claims.emplace_back(connection, window, Atom::NetWmPid, 1);
}

QList<ProcessId> ProcessIdQuery::take()
{
    QList<ProcessId> pids = takeServerPids();
    for (qsizetype i = 0; i < m_windows.size(); ++i) {
        const auto claim = m_claims[static_cast<std::size_t>(i)].take();
        if (pids[i] != 0)
            continue;
        if (const auto value = firstValue32(claim.get()))
            pids[i] = static_cast<ProcessId>(*value);
    }
    return pids;
}

QList<ProcessId> ProcessIdQuery::takeServerPids()
{
    QList<ProcessId> pids(m_windows.size(), 0);
    const auto reply = takeReply(m_serverQuery, xcb_res_query_client_ids_reply);
    if (!reply)
        return pids;
    // The server answers per client, naming it by its resource base.
    QHash<std::uint32_t, ProcessId> pidByClient;
    for (auto it = xcb_res_query_client_ids_ids_iterator(reply.get()); it.rem > 0;
         xcb_res_client_id_value_next(&it)) {
        if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID)
            && xcb_res_client_id_value_value_length(it.data) >= 1) {
            const auto pid = static_cast<ProcessId>(*xcb_res_client_id_value_value(it.data));
            pidByClient.insert(m_connection.clientBaseOf(it.data->spec.client), pid);
        }
    }
    for (qsizetype i = 0; i < m_windows.size(); ++i)
        pids[i] = pidByClient.value(m_connection.clientBaseOf(m_windows[i]), 0);
    return pids;
}

} // namespace Platform::X11
