#pragma once

#include "Platform/WindowSystem.h"

#include <QString>

#include <functional>
#include <optional>

namespace Platform::Gio {

// GIO starts every app through its small helper, gio-launch-desktop, which then runs the
// app's program in the same process. When that second step fails (a program that vanished,
// a script whose interpreter is missing) the helper exits with status 255, while GIO has
// long reported success. The watch tells the two apart: the launch has succeeded once the
// process runs something other than the helper, and has failed when the helper exits with
// 255. `done` runs once, from the main loop, with the error; the process is reaped.
void watchExec(
    ProcessId pid, const QString& program, std::function<void(std::optional<QString> error)> done);

// Reaps a launched process when it ends, so that it leaves no zombie behind.
void reapWhenDone(ProcessId pid);

} // namespace Platform::Gio
