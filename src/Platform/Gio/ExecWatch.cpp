#include "Platform/Gio/ExecWatch.h"

#include "Util/Logging.h"

#include <QFile>

#include <gio/gio.h>

#include <memory>
#include <sys/wait.h>

namespace Platform::Gio {
namespace {

constexpr guint pollIntervalMs = 2;
// A helper that has neither run the program nor exited by then is left alone.
constexpr int maxPolls = 1000;
constexpr int helperFailureStatus = 255;

struct Watch {
    ProcessId pid = 0;
    QString program;
    std::function<void(std::optional<QString>)> done;
    bool finished = false;
    int polls = 0;

    void finish(std::optional<QString> error)
    {
        if (finished)
            return;
        finished = true;
        done(std::move(error));
    }
};
using WatchPtr = std::shared_ptr<Watch>;

enum class Stage { Helper, Program, Unknown };

Stage stageOf(ProcessId pid)
{
    const QString executable = QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid));
    if (executable.isEmpty())
        return Stage::Unknown; // gone, or a zombie waiting for the child watch
    return executable.endsWith(QLatin1String("/gio-launch-desktop")) ? Stage::Helper
                                                                     : Stage::Program;
}

WatchPtr& watchOf(gpointer data)
{
    return *static_cast<WatchPtr*>(data);
}

void releaseWatch(gpointer data)
{
    delete static_cast<WatchPtr*>(data);
}

gboolean poll(gpointer data)
{
    Watch& watch = *watchOf(data);
    if (watch.finished)
        return G_SOURCE_REMOVE;
    if (stageOf(watch.pid) == Stage::Program || ++watch.polls >= maxPolls) {
        watch.finish(std::nullopt);
        return G_SOURCE_REMOVE;
    }
    return G_SOURCE_CONTINUE;
}

void onExit(GPid pid, gint status, gpointer data)
{
    g_spawn_close_pid(pid);
    Watch& watch = *watchOf(data);
    qCDebug(lcApps) << "Launched process" << pid << "ended with status" << status;
    if (WIFEXITED(status) && WEXITSTATUS(status) == helperFailureStatus)
        watch.finish(QStringLiteral("Failed to execute child process “%1”").arg(watch.program));
    else
        watch.finish(std::nullopt);
}

void reap(GPid pid, gint status, gpointer)
{
    qCDebug(lcApps) << "Launched process" << pid << "ended with status" << status;
    g_spawn_close_pid(pid);
}

} // namespace

void watchExec(
    ProcessId pid, const QString& program, std::function<void(std::optional<QString> error)> done)
{
    auto watch = std::make_shared<Watch>();
    watch->pid = pid;
    watch->program = program;
    watch->done = std::move(done);
    g_child_watch_add_full(G_PRIORITY_DEFAULT, pid, &onExit, new WatchPtr(watch), &releaseWatch);
    g_timeout_add_full(
        G_PRIORITY_DEFAULT, pollIntervalMs, &poll, new WatchPtr(watch), &releaseWatch);
}

void reapWhenDone(ProcessId pid)
{
    g_child_watch_add(pid, &reap, nullptr);
}

} // namespace Platform::Gio
