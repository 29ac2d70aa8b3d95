#include "Platform/Gio/AppLauncher.h"

#include "Platform/Gio/ExecWatch.h"
#include "Platform/Gio/GioHandles.h"
#include "Util/Logging.h"

#include <QFile>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <atomic>
#include <unistd.h>

namespace Platform::Gio {
namespace {

struct LaunchState {
    QList<GPid> pids;
};

void onProcessStarted(GDesktopAppInfo*, GPid pid, gpointer data)
{
    static_cast<LaunchState*>(data)->pids.append(pid);
}

// A startup-notification ID for the new process (DESKTOP_STARTUP_ID), so that the window
// manager can tie the app's first window to this launch. Only for entries that declare
// StartupNotify=true, as the desktop-entry rules ask.
QByteArray startupId(GDesktopAppInfo* info)
{
    static std::atomic<unsigned> sequence{0};
    const char* id = g_app_info_get_id(G_APP_INFO(info));
    return QByteArrayLiteral("vantor-") + QByteArray::number(::getpid()) + '-'
        + QByteArray(g_get_host_name()) + '-' + QByteArray(id ? id : "app") + '-'
        + QByteArray::number(++sequence);
}

GObjectPtr<GAppLaunchContext> launchContextFor(GDesktopAppInfo* info)
{
    GObjectPtr<GAppLaunchContext> context(g_app_launch_context_new());
    g_app_launch_context_unsetenv(context.get(), "DESKTOP_STARTUP_ID");
    if (g_desktop_app_info_get_boolean(info, "StartupNotify"))
        g_app_launch_context_setenv(
            context.get(), "DESKTOP_STARTUP_ID", startupId(info).constData());
    return context;
}

RunningApplication launchedApplication(GDesktopAppInfo* info, GPid pid, const QString& path)
{
    RunningApplication application;
    application.processIdentifier = pid;
    application.bundleIdentifier = fromUtf8(g_app_info_get_id(G_APP_INFO(info)));
    if (application.bundleIdentifier->endsWith(QLatin1String(".desktop")))
        application.bundleIdentifier->chop(8);
    application.localizedName = fromUtf8(g_app_info_get_name(G_APP_INFO(info)));
    application.bundlePath = path;
    return application;
}

gboolean runTask(gpointer data)
{
    (*static_cast<std::function<void()>*>(data))();
    return G_SOURCE_REMOVE;
}

void deleteTask(gpointer data)
{
    delete static_cast<std::function<void()>*>(data);
}

} // namespace

void runLater(std::function<void()> task)
{
    GSource* source = g_idle_source_new();
    g_source_set_callback(
        source, &runTask, new std::function<void()>(std::move(task)), &deleteTask);
    g_source_attach(source, g_main_context_get_thread_default());
    g_source_unref(source);
}

void launchDesktopEntry(const QString& path, Applications::LaunchCompletion completion)
{
    const GObjectPtr<GDesktopAppInfo> info(
        g_desktop_app_info_new_from_filename(QFile::encodeName(path).constData()));
    if (!info) {
        const QString error = QStringLiteral("“%1” is not a usable desktop entry").arg(path);
        runLater([completion, error] { completion(std::nullopt, error); });
        return;
    }
    const GObjectPtr<GAppLaunchContext> context = launchContextFor(info.get());
    LaunchState state;
    GError* rawError = nullptr;
    const bool launched = g_desktop_app_info_launch_uris_as_manager(info.get(), nullptr,
        context.get(), static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD),
        nullptr, nullptr, &onProcessStarted, &state, &rawError);
    const GErrorPtr error(rawError);
    if (!launched) {
        const QString message = fromUtf8(error ? error->message : "unknown error");
        qCDebug(lcApps) << "Launching" << path << "failed:" << message;
        runLater([completion, message] { completion(std::nullopt, message); });
        return;
    }
    qCDebug(lcApps) << "Launched" << path << "as processes" << state.pids;
    if (state.pids.isEmpty()) { // started over D-Bus
        runLater([completion] { completion(std::nullopt, std::nullopt); });
        return;
    }
    for (const GPid pid : state.pids.mid(1))
        reapWhenDone(pid);
    const RunningApplication application
        = launchedApplication(info.get(), state.pids.first(), path);
    watchExec(state.pids.first(), fromUtf8(g_app_info_get_executable(G_APP_INFO(info.get()))),
        [completion, application](std::optional<QString> error) {
            if (error)
                completion(std::nullopt, error);
            else
                completion(application, std::nullopt);
        });
}

} // namespace Platform::Gio
