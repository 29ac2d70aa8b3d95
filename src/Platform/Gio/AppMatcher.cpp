#include "Platform/Gio/AppMatcher.h"

#include "Platform/Gio/ProcessInfo.h"

namespace Platform::Gio {
namespace {

// _KDE_NET_WM_DESKTOP_FILE holds an ID, a file name or a path.
QString desktopIdOf(const QString& hint)
{
    QString id = hint.section(QLatin1Char('/'), -1);
    if (id.endsWith(QLatin1String(".desktop")))
        id.chop(8);
    return id;
}

template <typename Lookup>
const DesktopEntry* firstOf(const QList<const WindowInfo*>& windows, Lookup lookup)
{
    for (const WindowInfo* window : windows) {
        if (const DesktopEntry* entry = lookup(*window))
            return entry;
    }
    return nullptr;
}

} // namespace

const DesktopEntry* AppMatcher::match(ProcessId pid, const QList<const WindowInfo*>& windows) const
{
    if (const DesktopEntry* entry = byWindowHints(windows))
        return entry;
    if (const DesktopEntry* entry = bySandbox(pid))
        return entry;
    if (const DesktopEntry* entry = byWmClass(windows))
        return entry;
    return byCommandLine(pid);
}

const DesktopEntry* AppMatcher::byWindowHints(const QList<const WindowInfo*>& windows) const
{
    if (const DesktopEntry* entry
        = firstOf(windows, [&](const WindowInfo& w) { return m_table.byId(w.applicationId); }))
        return entry;
    return firstOf(
        windows, [&](const WindowInfo& w) { return m_table.byId(desktopIdOf(w.desktopFile)); });
}

const DesktopEntry* AppMatcher::bySandbox(ProcessId pid) const
{
    if (const DesktopEntry* entry = m_table.byId(ProcessInfo::flatpakAppId(pid)))
        return entry;
    return m_table.byId(ProcessInfo::snapDesktopId(pid));
}

const DesktopEntry* AppMatcher::byWmClass(const QList<const WindowInfo*>& windows) const
{
    using Lookup = const DesktopEntry* (DesktopEntryTable::*)(const QString&) const;
    for (const Lookup lookup : {&DesktopEntryTable::byStartupWmClass,
             &DesktopEntryTable::byIdIgnoringCase, &DesktopEntryTable::byIdSuffixIgnoringCase}) {
        for (const QString WindowInfo::*field :
            {&WindowInfo::wmClassInstance, &WindowInfo::wmClass}) {
            if (const DesktopEntry* entry = firstOf(
                    windows, [&](const WindowInfo& w) { return (m_table.*lookup)(w.*field); }))
                return entry;
        }
    }
    return nullptr;
}

const DesktopEntry* AppMatcher::byCommandLine(ProcessId pid) const
{
    const QString program = ProcessInfo::programOf(ProcessInfo::commandLine(pid));
    return program.isEmpty() ? nullptr : m_table.byProgram(program);
}

} // namespace Platform::Gio
