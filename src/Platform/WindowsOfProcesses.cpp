#include "Platform/WindowsOfProcesses.h"

#include "Platform/Processes.h"

#include <algorithm>

namespace Platform {

QList<QList<WindowId>> windowsOfProcesses(
    const QList<WindowInfo>& windows, const QList<ProcessId>& pids, int limit)
{
    QList<WindowInfo> byAge = windows;
    std::sort(byAge.begin(), byAge.end(),
        [](const WindowInfo& a, const WindowInfo& b) { return a.id < b.id; });
    QList<QList<WindowId>> result;
    for (ProcessId pid : pids) {
        QList<WindowId> ids;
        for (const WindowInfo& window : std::as_const(byAge)) {
            if (window.pid == pid && ids.size() < limit)
                ids.append(window.id);
        }
        result.append(ids);
    }
    return result;
}

QList<std::optional<QList<WindowId>>> windowsOfLiveProcesses(
    const QList<WindowInfo>& windows, const QList<ProcessId>& pids, int limit)
{
    const QList<QList<WindowId>> byProcess = windowsOfProcesses(windows, pids, limit);
    QList<std::optional<QList<WindowId>>> result(pids.size());
    for (qsizetype i = 0; i < pids.size(); ++i) {
        if (processExists(pids[i]))
            result[i] = byProcess[i];
    }
    return result;
}

} // namespace Platform
