#pragma once

#include "Platform/WindowSystem.h"

namespace Platform {

// Whether a process with this id runs now. kill(pid, 0) asks the kernel without touching
// the process (EPERM still means it exists); a zombie, which has exited but was not yet
// reaped, does not count.
bool processExists(ProcessId pid);

} // namespace Platform
