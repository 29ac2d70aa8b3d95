#include "Platform/Gio/ChildWatch.h"

#include "Util/Logging.h"

#include <gio/gio.h>

namespace Platform::Gio {
namespace {

using Ended = std::function<void(int status)>;

void onExit(GPid pid, gint status, gpointer data)
{
    g_spawn_close_pid(pid);
    qCDebug(lcApps) << "Launched process" << pid << "ended with status" << status;
    (*static_cast<Ended*>(data))(status);
}

void release(gpointer data)
{
    delete static_cast<Ended*>(data);
}

} // namespace

void watchChild(ProcessId pid, std::function<void(int status)> ended)
{
    g_child_watch_add_full(G_PRIORITY_DEFAULT, pid, &onExit, new Ended(std::move(ended)), &release);
}

} // namespace Platform::Gio
