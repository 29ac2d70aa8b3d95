#pragma once

#include "Platform/WindowSystem.h"

#include <functional>

namespace Platform::Gio {

// Calls `ended` from the main loop when the child process ends, with its wait status, and
// reaps it, so that it leaves no zombie behind.
void watchChild(ProcessId pid, std::function<void(int status)> ended);

} // namespace Platform::Gio
