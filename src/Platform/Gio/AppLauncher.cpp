#include "Platform/Gio/AppLauncher.h"

#include "Platform/Gio/GioHandles.h"
#include "Util/Logging.h"

#include <QFile>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <atomic>
#include <memory>
#include <syslog.h>
#include <unistd.h>

#ifdef VANTOR_HAVE_SYSTEMD
#include <systemd/sd-journal.h>
#endif

namespace Platform::Gio {
namespace {

// What the app gets as a standard stream; the file closes with the holder, after the launch.
using Stream = std::unique_ptr<QFile>;

Stream nullDevice(QIODevice::OpenMode mode)
{
    auto file = std::make_unique<QFile>(QStringLiteral("/dev/null"));
    file->open(mode | QIODevice::Unbuffered);
    return file;
}

// Where the app's output goes: a stream into the journal under the app's name, or nowhere.
Stream outputStream(const QString& identifier, [[maybe_unused]] int priority)
{
#ifdef VANTOR_HAVE_SYSTEMD
    const int fd = sd_journal_stream_fd(identifier.toUtf8().constData(), priority, 0);
    if (fd >= 0) {
        auto journal = std::make_unique<QFile>();
        if (journal->open(fd, QIODevice::WriteOnly | QIODevice::Unbuffered,
                QFileDevice::AutoCloseHandle))
            return journal;
        ::close(fd);
    }
#else
    Q_UNUSED(identifier)
#endif
    return nullDevice(QIODevice::WriteOnly);
}

struct LaunchState {
    QList<GPid> pids;
};

void onProcessStarted(GDesktopAppInfo*, GPid pid, gpointer data)
{
    static_cast<LaunchState*>(data)->pids.append(pid);
}

QByteArray uniquePart(const char* entryId)
{
    static std::atomic<unsigned> sequence{0};
    return QByteArray::number(::getpid()) + '-' + QByteArray(entryId ? entryId : "app") + '-'
        + QByteArray::number(++sequence);
}

// A startup-notification ID for the new process (DESKTOP_STARTUP_ID), so that the window
// manager and Vantor can tie the app's first window to this launch. Only for entries that
// declare StartupNotify=true, as the desktop-entry rules ask.
QByteArray startupIdFor(const QByteArray& unique)
{
    return QByteArrayLiteral("vantor-") + QByteArray(g_get_host_name()) + '-' + unique;
}

struct LaunchContext {
    GObjectPtr<GAppLaunchContext> context;
    QByteArray startupId;
    QByteArray launchId;
};

LaunchContext launchContextFor(GDesktopAppInfo* info)
{
    LaunchContext launch;
    launch.context.reset(g_app_launch_context_new());
    const QByteArray unique = uniquePart(g_app_info_get_id(G_APP_INFO(info)));
    launch.launchId = unique;
    g_app_launch_context_setenv(launch.context.get(), "VANTOR_LAUNCH_ID", unique.constData());
    g_app_launch_context_unsetenv(launch.context.get(), "DESKTOP_STARTUP_ID");
    if (g_desktop_app_info_get_boolean(info, "StartupNotify")) {
        launch.startupId = startupIdFor(unique);
        g_app_launch_context_setenv(
            launch.context.get(), "DESKTOP_STARTUP_ID", launch.startupId.constData());
    }
    return launch;
}

StartedProcess startedProcess(GDesktopAppInfo* info, const QString& path)
{
    StartedProcess process;
    process.entryId = fromUtf8(g_app_info_get_id(G_APP_INFO(info)));
    if (process.entryId.endsWith(QLatin1String(".desktop")))
        process.entryId.chop(8);
    process.entryPath = path;
    process.name = fromUtf8(g_app_info_get_name(G_APP_INFO(info)));
    process.program = fromUtf8(g_app_info_get_executable(G_APP_INFO(info)));
    return process;
}

// Why GIO refuses an entry: mostly a program that is not installed or not executable.
QString unusableEntryError(const QString& path)
{
    const GKeyFilePtr keyFile(g_key_file_new());
    if (!g_key_file_load_from_file(keyFile.get(), QFile::encodeName(path).constData(),
            G_KEY_FILE_NONE, nullptr))
        return QStringLiteral("“%1” is not a usable desktop entry").arg(path);
    for (const char* key : {"TryExec", "Exec"}) {
        const GCharPtr value(g_key_file_get_string(keyFile.get(), "Desktop Entry", key, nullptr));
        gint argc = 0;
        char** rawArgv = nullptr;
        if (!value || !g_shell_parse_argv(value.get(), &argc, &rawArgv, nullptr))
            continue;
        const GStrvPtr argv(rawArgv);
        const GCharPtr found(g_find_program_in_path(argv.get()[0]));
        if (!found)
            return QStringLiteral("Failed to execute child process “%1” (not found or not "
                                  "executable)")
                .arg(fromUtf8(argv.get()[0]));
    }
    return QStringLiteral("“%1” is not a usable desktop entry").arg(path);
}

} // namespace

std::variant<StartedProcess, QString> startDesktopEntry(const QString& path)
{
    const GObjectPtr<GDesktopAppInfo> info(
        g_desktop_app_info_new_from_filename(QFile::encodeName(path).constData()));
    if (!info)
        return unusableEntryError(path);
    StartedProcess process = startedProcess(info.get(), path);
    const LaunchContext launch = launchContextFor(info.get());
    const Stream input = nullDevice(QIODevice::ReadOnly);
    const Stream output = outputStream(process.entryId, LOG_INFO);
    const Stream errors = outputStream(process.entryId, LOG_WARNING);
    LaunchState state;
    GError* rawError = nullptr;
    const bool launched = g_desktop_app_info_launch_uris_as_manager_with_fds(info.get(), nullptr,
        launch.context.get(),
        static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD), nullptr,
        nullptr, &onProcessStarted, &state, input->handle(), output->handle(), errors->handle(),
        &rawError);
    const GErrorPtr error(rawError);
    if (!launched) {
        const QString message = fromUtf8(error ? error->message : "unknown error");
        qCDebug(lcApps) << "Launching" << path << "failed:" << message;
        return message;
    }
    qCDebug(lcApps) << "Launched" << path << "as processes" << state.pids;
    process.pid = state.pids.value(0, 0);
    process.startupId = QString::fromLatin1(launch.startupId);
    process.launchId = launch.launchId;
    return process;
}

} // namespace Platform::Gio
