#include "Platform/Gio/LaunchWatch.h"

#include "Platform/Gio/AppMatcher.h"
#include "Platform/Gio/ChildWatch.h"
#include "Platform/Gio/DesktopEntryIndex.h"
#include "Platform/Gio/ProcessInfo.h"
#include "Util/Logging.h"

#include <QTimer>

#include <algorithm>

#include <sys/wait.h>

namespace Platform::Gio {
namespace {

using namespace std::chrono_literals;

// A launcher that ended well but left no process behind may have handed the launch to an
// instance that runs already; its window is waited for this long.
constexpr auto handOverGrace = 2s;
// gio-launch-desktop, which starts every app, exits with this when the app's program
// cannot be run.
constexpr int helperFailureStatus = 255;
constexpr char launchIdVariable[] = "VANTOR_LAUNCH_ID";

QString exitError(const StartedProcess& process, int status)
{
    if (WIFEXITED(status) && WEXITSTATUS(status) == helperFailureStatus)
        return QStringLiteral("Failed to execute child process “%1”").arg(process.program);
    if (WIFEXITED(status))
        return QStringLiteral("“%1” exited with status %2 before it opened a window")
            .arg(process.program)
            .arg(WEXITSTATUS(status));
    return QStringLiteral("“%1” was ended by signal %2 before it opened a window")
        .arg(process.program)
        .arg(WTERMSIG(status));
}

LaunchResult failure(QString error)
{
    LaunchResult result;
    result.outcome = LaunchResult::Outcome::Failed;
    result.error = std::move(error);
    return result;
}

} // namespace

LaunchWatch::LaunchWatch(WindowSystem& windowSystem, DesktopEntryIndex& index)
    : m_windowSystem(windowSystem), m_index(index), m_self(std::make_shared<LaunchWatch*>(this))
{
}

LaunchWatch::~LaunchWatch()
{
    *m_self = nullptr;
}

LaunchWatch::LaunchKey LaunchWatch::begin(
    std::chrono::milliseconds timeout, Applications::LaunchCompletion completion)
{
    const LaunchKey key = m_nextKey++;
    m_pending.emplace(key, Pending{std::nullopt, std::move(completion)});
    if (!m_watch)
        m_watch = m_windowSystem.watchNewWindows(
            [this](const WindowInfo& window) { windowShown(window); });
    LaunchResult timedOut;
    timedOut.outcome = LaunchResult::Outcome::TimedOut;
    expireAfter(key, timeout, timedOut);
    return key;
}

void LaunchWatch::started(LaunchKey key, const StartedProcess& process)
{
    const auto found = m_pending.find(key);
    if (found == m_pending.end())
        return; // timed out meanwhile
    found->second.process = process;
    if (process.pid > 0) {
        watchChild(process.pid, [self = m_self, key](int status) {
            if (LaunchWatch* watch = *self)
                watch->processEnded(key, status);
        });
    }
    const QList<WindowInfo> unclaimed = std::exchange(m_unclaimed, {});
    for (const WindowInfo& window : unclaimed)
        windowShown(window);
}

void LaunchWatch::failedToStart(LaunchKey key, const QString& error)
{
    if (m_pending.count(key) > 0)
        finish(key, failure(error));
}

bool LaunchWatch::isStarting() const
{
    return std::any_of(m_pending.cbegin(), m_pending.cend(),
        [](const auto& entry) { return !entry.second.process; });
}

void LaunchWatch::windowShown(const WindowInfo& window)
{
    if (window.kind != WindowKind::Normal)
        return;
    const std::optional<LaunchKey> key = launchOfWindow(window);
    if (!key) {
        if (isStarting())
            m_unclaimed.append(window);
        return;
    }
    const StartedProcess& process = *m_pending.at(*key).process;
    RunningApplication application;
    application.processIdentifier = window.pid > 0 ? window.pid : process.pid;
    application.bundleIdentifier = process.entryId;
    application.localizedName = process.name;
    application.bundlePath = process.entryPath;
    application.windowCount = 1;
    qCDebug(lcApps) << "Window" << window.id << "of process" << window.pid << "completes the launch of"
                    << process.entryId;
    LaunchResult result;
    result.application = application;
    finish(*key, result);
}

std::optional<LaunchWatch::LaunchKey> LaunchWatch::launchOfWindow(const WindowInfo& window) const
{
    for (const auto& [key, launch] : m_pending) {
        if (launch.process && isStartedBy(window, *launch.process))
            return key;
    }
    for (const auto& [key, launch] : m_pending) {
        if (launch.process && isAppOf(window, *launch.process))
            return key;
    }
    return std::nullopt;
}

bool LaunchWatch::isStartedBy(const WindowInfo& window, const StartedProcess& process) const
{
    if (!process.startupId.isEmpty() && window.startupId == process.startupId)
        return true;
    if (window.pid <= 0)
        return false;
    if (process.pid > 0 && ProcessInfo::descendsFrom(window.pid, process.pid))
        return true;
    return ProcessInfo::hasEnvironment(window.pid, launchIdVariable, process.launchId);
}

bool LaunchWatch::isAppOf(const WindowInfo& window, const StartedProcess& process) const
{
    const auto table = m_index.current();
    const DesktopEntry* entry = AppMatcher(*table).match(window.pid, {&window});
    return entry && entry->id == process.entryId;
}

void LaunchWatch::processEnded(LaunchKey key, int status)
{
    const auto found = m_pending.find(key);
    if (found == m_pending.end())
        return;
    const StartedProcess& process = *found->second.process;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        finish(key, failure(exitError(process, status)));
        return;
    }
    // A wrapper that started the app and left: the app carries the launch ID on.
    if (ProcessInfo::anyProcessHasEnvironment(launchIdVariable, process.launchId))
        return;
    expireAfter(key, handOverGrace,
        failure(QStringLiteral("“%1” ended without opening a window").arg(process.program)));
}

void LaunchWatch::expireAfter(
    LaunchKey key, std::chrono::milliseconds delay, LaunchResult result)
{
    QTimer::singleShot(delay, &m_context, [this, key, result] {
        if (m_pending.count(key) > 0)
            finish(key, result);
    });
}

void LaunchWatch::finish(LaunchKey key, const LaunchResult& result)
{
    const auto found = m_pending.find(key);
    const Applications::LaunchCompletion completion = std::move(found->second.completion);
    m_pending.erase(found);
    if (m_pending.empty()) {
        m_watch.reset();
        m_unclaimed.clear();
    }
    completion(result);
}

} // namespace Platform::Gio
