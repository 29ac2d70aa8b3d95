#include "Platform/Sway/SwayWindowSystem.h"

#include "Platform/Sway/IpcConnection.h"
#include "Platform/Sway/NewWindowEvents.h"
#include "Platform/Sway/Tree.h"
#include "Platform/WindowsOfProcesses.h"
#include "Util/Logging.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QTimer>

namespace Platform::Sway {
namespace {

// Sway keeps a floating window's centre when it resizes it, so the position is given again
// after the size: the frame then lands exactly, whatever size the window had before.
QByteArray placementCommand(WindowId window, const Frame& frame)
{
    const QString position
        = QStringLiteral("move absolute position %1 %2").arg(qRound(frame.x)).arg(qRound(frame.y));
    return QStringLiteral(
        "[con_id=%1] fullscreen disable, floating enable, %2, resize set %3 %4, %2")
        .arg(window)
        .arg(position)
        .arg(qRound(frame.width))
        .arg(qRound(frame.height))
        .toUtf8();
}

constexpr qsizetype windowsPerMessage = 100;

void logFailures(const QJsonDocument& reply)
{
    for (const QJsonValue& result : reply.array()) {
        const QJsonObject object = result.toObject();
        if (!object.value(QLatin1String("success")).toBool())
            qCDebug(lcWindows).noquote()
                << "Sway refused a placement:" << object.value(QLatin1String("error")).toString();
    }
}

} // namespace

SwayWindowSystem::SwayWindowSystem(const QString& socketPath)
    : m_commands(std::make_unique<IpcConnection>(socketPath)),
      m_newWindows(std::make_unique<NewWindowEvents>(socketPath))
{
    QObject::connect(m_commands.get(), &IpcConnection::disconnected, &m_context, [this] {
        qCInfo(lcWindows) << "Sway has gone away";
        if (m_sessionEnded)
            m_sessionEnded();
    });
}

SwayWindowSystem::~SwayWindowSystem() = default;

bool SwayWindowSystem::canControlWindows()
{
    return m_commands->isConnected();
}

ScreenSize SwayWindowSystem::mainScreenSize()
{
    const auto outputs = m_commands->request(MessageType::GetOutputs);
    return outputs ? screenSizeOfOutputs(outputs->array()) : ScreenSize{};
}

std::optional<QList<WindowInfo>> SwayWindowSystem::managedWindows()
{
    const auto tree = m_commands->request(MessageType::GetTree);
    if (!tree || !tree->isObject())
        return std::nullopt;
    return windowsInTree(tree->object());
}

QList<std::optional<QList<WindowId>>> SwayWindowSystem::windowsOfProcesses(
    const QList<ProcessId>& pids, int limit)
{
    // Sway numbers its nodes as it makes them: the lowest id is the oldest window.
    const auto windows = pids.isEmpty() ? std::nullopt : managedWindows();
    if (!windows)
        return QList<std::optional<QList<WindowId>>>(pids.size());
    return windowsOfLiveProcesses(*windows, pids, limit);
}

void SwayWindowSystem::placeWindows(const QList<Placement>& placements)
{
    // Sway runs a message of many commands, separated by ";", in one go and answers each of
    // them: a window that has gone fails alone. One message for up to a hundred windows is
    // several times faster than a message per window.
    QByteArrayList commands;
    for (const Placement& placement : placements) {
        for (WindowId window : placement.windows)
            commands.append(placementCommand(window, placement.frame));
    }
    for (qsizetype first = 0; first < commands.size(); first += windowsPerMessage)
        m_commands->send(MessageType::RunCommand, commands.mid(first, windowsPerMessage).join("; "),
            logFailures);
    m_commands->flush();
}

// The last look at held frames is the only one, so a process about to exit waits for it.
void SwayWindowSystem::finishPlacements()
{
    if (m_pendingHolds > 0) {
        QEventLoop loop;
        m_holdsDone = [&loop] { loop.quit(); };
        loop.exec();
        m_holdsDone = nullptr;
    }
    m_commands->waitForReplies();
}

std::unique_ptr<WindowWatch> SwayWindowSystem::watchNewWindows(WindowShown shown)
{
    return m_newWindows->watch(std::move(shown));
}

// Sway tells nobody when a floating window moves or takes another size, so held frames are
// read once, when the time is up. A window is put back then when its app moved it (an X11
// app, through XWayland), or when sway gave a new window the size that the app drew itself
// at a moment after the placement (sway lets a floating window's app choose its size, and
// an app that has just opened may still answer an earlier request).
void SwayWindowSystem::holdFrames(
    const QList<WindowId>& windows, const Frame& target, std::chrono::milliseconds duration)
{
    ++m_pendingHolds;
    QTimer::singleShot(duration, &m_context, [this, windows, target] {
        putBackMoved(windows, target);
        if (--m_pendingHolds == 0 && m_holdsDone)
            m_holdsDone();
    });
}

void SwayWindowSystem::putBackMoved(const QList<WindowId>& windows, const Frame& target)
{
    const auto current = managedWindows();
    if (!current)
        return;
    QList<WindowId> moved;
    for (const WindowInfo& window : *current) {
        if (windows.contains(window.id) && window.frame != target)
            moved.append(window.id);
    }
    if (!moved.isEmpty())
        placeWindows({{moved, target}});
}

void SwayWindowSystem::whenSessionEnds(std::function<void()> ended)
{
    m_sessionEnded = std::move(ended);
}

} // namespace Platform::Sway
