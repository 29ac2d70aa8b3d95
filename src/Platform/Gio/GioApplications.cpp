#include "Platform/Gio/GioApplications.h"

#include "Platform/Gio/AppLauncher.h"
#include "Platform/Gio/AppMatcher.h"
#include "Platform/Gio/GioHandles.h"
#include "Platform/Gio/ProcessInfo.h"
#include "Util/Logging.h"

#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QStandardPaths>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <algorithm>

namespace Platform::Gio {
namespace {

struct ProcessWindows {
    ProcessId pid = 0;
    QList<const WindowInfo*> windows; // normal windows first, each group front to back
    quint64 startTime = 0;
};

// Groups the windows by owner, in the order in which the owners' windows first appear.
QList<ProcessWindows> groupByProcess(const QList<WindowInfo>& windows)
{
    QList<ProcessWindows> processes;
    QHash<ProcessId, qsizetype> indexOf;
    for (const WindowInfo& window : windows) {
        if (window.pid <= 0)
            continue;
        auto found = indexOf.constFind(window.pid);
        if (found == indexOf.cend()) {
            found = indexOf.insert(window.pid, processes.size());
            processes.append({window.pid, {}, 0});
        }
        processes[found.value()].windows.append(&window);
    }
    for (ProcessWindows& process : processes) {
        std::stable_partition(process.windows.begin(), process.windows.end(),
            [](const WindowInfo* w) { return w->kind == WindowKind::Normal; });
        process.startTime = ProcessInfo::startTime(process.pid).value_or(0);
    }
    return processes;
}

ActivationPolicy policyOf(const QList<const WindowInfo*>& windows)
{
    const bool inTaskbar = std::any_of(windows.cbegin(), windows.cend(),
        [](const WindowInfo* w) { return w->kind == WindowKind::Normal && !w->skipsTaskbar; });
    return inTaskbar ? ActivationPolicy::Regular : ActivationPolicy::Accessory;
}

// Without a desktop entry an app is named by its WM_CLASS, class before instance.
std::optional<QString> wmClassName(const QList<const WindowInfo*>& windows)
{
    for (const WindowInfo* window : windows) {
        if (!window->wmClass.isEmpty())
            return window->wmClass;
        if (!window->wmClassInstance.isEmpty())
            return window->wmClassInstance;
    }
    return std::nullopt;
}

RunningApplication describe(const ProcessWindows& process, const AppMatcher& matcher)
{
    RunningApplication application;
    application.processIdentifier = process.pid;
    application.activationPolicy = policyOf(process.windows);
    application.windowCount = static_cast<int>(process.windows.size());
    if (const DesktopEntry* entry = matcher.match(process.pid, process.windows)) {
        application.bundleIdentifier = entry->id;
        application.localizedName
            = entry->name.isEmpty() ? wmClassName(process.windows) : entry->name;
        application.bundlePath = entry->path;
    } else {
        application.localizedName = wmClassName(process.windows);
    }
    return application;
}

bool openWithGio(const QUrl& location)
{
    GError* rawError = nullptr;
    const bool opened = g_app_info_launch_default_for_uri(
        location.toString(QUrl::FullyEncoded).toUtf8().constData(), nullptr, &rawError);
    const GErrorPtr error(rawError);
    if (!opened)
        qCWarning(lcApps) << "Cannot open" << location.toDisplayString() << ":"
                          << fromUtf8(error ? error->message : nullptr);
    return opened;
}

} // namespace

GioApplications::GioApplications(WindowSystem& windowSystem)
    : m_windowSystem(windowSystem), m_launches(windowSystem, m_index)
{
    m_starter.setMaxThreadCount(1);
    m_starter.setExpiryTimeout(1000);
}

QList<RunningApplication> GioApplications::runningApplications()
{
    const QList<WindowInfo> windows = m_windowSystem.managedWindows().value_or(QList<WindowInfo>{});
    QList<ProcessWindows> processes = groupByProcess(windows);
    std::stable_sort(processes.begin(), processes.end(), [](const auto& a, const auto& b) {
        return std::tie(a.startTime, a.pid) < std::tie(b.startTime, b.pid);
    });
    const auto table = m_index.current();
    const AppMatcher matcher(*table);
    QList<RunningApplication> applications;
    applications.reserve(processes.size());
    for (const ProcessWindows& process : std::as_const(processes))
        applications.append(describe(process, matcher));
    return applications;
}

std::optional<QString> GioApplications::applicationPath(const QString& bundleIdentifier)
{
    if (bundleIdentifier.isEmpty())
        return std::nullopt;
    const QByteArray id = (bundleIdentifier + QStringLiteral(".desktop")).toUtf8();
    const GObjectPtr<GDesktopAppInfo> info(g_desktop_app_info_new(id.constData()));
    if (info)
        return fromUtf8(g_desktop_app_info_get_filename(info.get()));
    // GIO passes over an entry whose program is missing; it is installed all the same (unless
    // it says it was deleted), and launching it says what is wrong.
    const QString path = QStandardPaths::locate(QStandardPaths::GenericDataLocation,
        QStringLiteral("applications/") + QString::fromUtf8(id));
    if (path.isEmpty())
        return std::nullopt;
    const GKeyFilePtr entry(g_key_file_new());
    if (!g_key_file_load_from_file(
            entry.get(), QFile::encodeName(path).constData(), G_KEY_FILE_NONE, nullptr)
        || g_key_file_get_boolean(entry.get(), "Desktop Entry", "Hidden", nullptr))
        return std::nullopt;
    return path;
}

void GioApplications::launch(
    const QString& path, std::chrono::milliseconds timeout, LaunchCompletion completion)
{
    const LaunchWatch::LaunchKey key = m_launches.begin(timeout, std::move(completion));
    m_starter.start([this, path, key] {
        auto started = startDesktopEntry(path);
        QMetaObject::invokeMethod(
            &m_context,
            [this, started = std::move(started), key] {
                if (const QString* error = std::get_if<QString>(&started))
                    m_launches.failedToStart(key, *error);
                else
                    m_launches.started(key, std::get<StartedProcess>(started));
            },
            Qt::QueuedConnection);
    });
}

void GioApplications::open(const QUrl& location)
{
    // Qt hands the location to xdg-open, which knows the desktop's own handlers; without it,
    // GIO's default handler for the file's type does the same.
    const bool haveGui = qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
    if (haveGui && !QStandardPaths::findExecutable(QStringLiteral("xdg-open")).isEmpty()
        && QDesktopServices::openUrl(location))
        return;
    openWithGio(location);
}

} // namespace Platform::Gio

namespace Platform {

std::unique_ptr<Applications> createApplications(WindowSystem& windowSystem)
{
    return std::make_unique<Gio::GioApplications>(windowSystem);
}

} // namespace Platform
