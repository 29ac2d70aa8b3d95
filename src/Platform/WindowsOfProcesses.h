#pragma once

#include "Platform/WindowSystem.h"

// Picking the windows of processes out of a window list, for window systems whose window
// ids grow with the windows' age.
namespace Platform {

// The windows of each process, oldest window (lowest id) first, at most `limit` each.
QList<QList<WindowId>> windowsOfProcesses(
    const QList<WindowInfo>& windows, const QList<ProcessId>& pids, int limit);

// The same, with nothing for a process that does not exist.
QList<std::optional<QList<WindowId>>> windowsOfLiveProcesses(
    const QList<WindowInfo>& windows, const QList<ProcessId>& pids, int limit);

} // namespace Platform
