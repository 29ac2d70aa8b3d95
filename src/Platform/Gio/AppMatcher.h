#pragma once

#include "Platform/Gio/DesktopEntryIndex.h"
#include "Platform/WindowSystem.h"

#include <QList>

namespace Platform::Gio {

// Finds the desktop entry a process was started from, by the clues its windows and /proc
// give, strongest first:
//  1. the entry the windows name themselves (_GTK_APPLICATION_ID, _KDE_NET_WM_DESKTOP_FILE);
//  2. the Flatpak or Snap application the process runs as;
//  3. WM_CLASS instance, then class, against StartupWMClass;
//  4. WM_CLASS instance, then class, against desktop IDs (case-insensitive), then against
//     their last reverse-DNS part;
//  5. the program of the process's command line against Exec and TryExec.
class AppMatcher {
public:
    explicit AppMatcher(const DesktopEntryTable& table) : m_table(table) { }

    // `windows` are the process's own windows, front to back.
    const DesktopEntry* match(ProcessId pid, const QList<const WindowInfo*>& windows) const;

private:
    const DesktopEntry* byWindowHints(const QList<const WindowInfo*>& windows) const;
    const DesktopEntry* bySandbox(ProcessId pid) const;
    const DesktopEntry* byWmClass(const QList<const WindowInfo*>& windows) const;
    const DesktopEntry* byCommandLine(ProcessId pid) const;

    const DesktopEntryTable& m_table;
};

} // namespace Platform::Gio
