#pragma once

#include "Platform/WindowSystem.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// What /proc tells about a process, for finding the desktop entry it was started from.
namespace Platform::Gio::ProcessInfo {

// Clock ticks after boot at which the process started; nothing when it has gone.
std::optional<quint64> startTime(ProcessId pid);
// The application ID of a Flatpak sandbox the process runs in, else empty.
QString flatpakAppId(ProcessId pid);
// The desktop-file ID ("name_app") of a Snap confinement the process runs in, else empty.
QString snapDesktopId(ProcessId pid);
// The process's arguments, program first; empty when they cannot be read.
QStringList commandLine(ProcessId pid);
// The parent process; nothing when the process has gone.
std::optional<ProcessId> parentOf(ProcessId pid);
// Whether `ancestor` is the process itself or one of its parents, grandparents...
bool descendsFrom(ProcessId pid, ProcessId ancestor);
// Whether the process's environment holds NAME=VALUE (readable for the user's own processes).
bool hasEnvironment(ProcessId pid, const QByteArray& name, const QByteArray& value);
// Whether any running process of the user has NAME=VALUE in its environment.
bool anyProcessHasEnvironment(const QByteArray& name, const QByteArray& value);

// The same, from what /proc gave: the .flatpak-info key file, and the AppArmor label.
QString flatpakAppIdFrom(const QByteArray& flatpakInfo);
QString snapDesktopIdFrom(const QString& securityLabel);

// The program a command line runs, past `env`, its variable settings and interpreters with
// their options ("python3 -u /usr/bin/foo --x" runs "/usr/bin/foo"); empty when none.
QString programOf(const QStringList& arguments);

} // namespace Platform::Gio::ProcessInfo
