#include "Platform/KWin/KWinWindowSystem.h"

#include "Platform/KWin/ScriptHost.h"
#include "Platform/WindowsOfProcesses.h"
#include "Util/Logging.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QEventLoop>
#include <QJsonDocument>
#include <QTimer>

namespace Platform::KWin {
namespace {

const char* const listWindows = R"JS(
var list = windowList();
var windows = [];
for (var i = 0; i < list.length; ++i)
    windows.push(describe(list[i]));
answer(TOKEN, windows);
)JS";

// The active output is the one that holds the active window (or the pointer, as the user
// chose in KWin's settings).
const char* const readScreen = R"JS(
var area = workspace.clientArea(KWin.FullScreenArea, workspace.activeScreen,
                                workspace.currentDesktop);
answer(TOKEN, { width: area.width, height: area.height });
)JS";

// Position first, then size: KWin keeps a window inside the screen by the size it has when
// it moves, as the other window managers do.
const char* const placeWindowsScript = R"JS(
var placements = PLACEMENTS;
var gone = [];
for (var p = 0; p < placements.length; ++p) {
    var target = placements[p];
    var found = windowsById(target.ids);
    for (var k = 0; k < target.ids.length; ++k) {
        var w = found[target.ids[k]];
        if (!w) {
            gone.push(target.ids[k]);
            continue;
        }
        if (w.fullScreen)
            w.fullScreen = false;
        if (typeof w.setMaximize === "function")
            w.setMaximize(false, false);
        var now = w.frameGeometry;
        w.frameGeometry = { x: target.x, y: target.y, width: now.width, height: now.height };
        w.frameGeometry = { x: target.x, y: target.y, width: target.width, height: target.height };
    }
}
answer(TOKEN, gone);
)JS";

// Stays loaded while the frames are held. It is loaded before the placement: a window counts
// as arrived once it stands on its target (its size within one resize step), and only a later
// move away from it is undone, once, unless the user is dragging the window.
const char* const holdFramesScript = R"JS(
var hold = HOLD;
var found = windowsById(hold.ids);
function holdWindow(w) {
    var step = w.basicUnit || { width: 1, height: 1 };
    function isOnTarget(g) {
        return g.x === hold.x && g.y === hold.y
            && Math.abs(g.width - hold.width) < Math.max(step.width, 1)
            && Math.abs(g.height - hold.height) < Math.max(step.height, 1);
    }
    var arrived = isOnTarget(w.frameGeometry);
    var putBack = false;
    w.frameGeometryChanged.connect(function () {
        if (isOnTarget(w.frameGeometry)) {
            arrived = true;
            return;
        }
        if (!arrived || putBack || w.move || w.resize)
            return;
        putBack = true;
        w.frameGeometry = { x: hold.x, y: hold.y, width: hold.width, height: hold.height };
    });
}
for (var id in found)
    holdWindow(found[id]);
)JS";

const char* const reportNewWindows = R"JS(
windowAddedSignal().connect(function (w) { report("windowAdded", describe(w)); });
)JS";

QJsonObject frameObject(const Frame& frame)
{
    return {{QStringLiteral("x"), qRound(frame.x)}, {QStringLiteral("y"), qRound(frame.y)},
        {QStringLiteral("width"), qRound(frame.width)},
        {QStringLiteral("height"), qRound(frame.height)}};
}

QString withValue(const char* script, const char* name, const QJsonValue& value)
{
    const QByteArray json = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromLatin1(script).replace(
        QLatin1String(name), QString::fromUtf8(json.mid(1, json.size() - 2)));
}

} // namespace

class KWinWindowSystem::Watch final : public WindowWatch {
public:
    Watch(KWinWindowSystem* system, int id)
        : m_system(system), m_watchers(system->m_watchers), m_id(id)
    {
    }
    ~Watch() override
    {
        if (const auto watchers = m_watchers.lock()) {
            watchers->byId.erase(m_id);
            m_system->stopListeningIfUnwatched();
        }
    }

private:
    KWinWindowSystem* m_system;
    std::weak_ptr<Watchers> m_watchers;
    int m_id;
};

KWinWindowSystem::KWinWindowSystem()
    : m_scripts(std::make_unique<ScriptHost>()),
      m_kwinWatcher(std::make_unique<QDBusServiceWatcher>(QStringLiteral("org.kde.KWin"),
          QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForUnregistration))
{
    QObject::connect(
        m_kwinWatcher.get(), &QDBusServiceWatcher::serviceUnregistered, &m_context, [this] {
            qCInfo(lcWindows) << "KWin has gone away";
            if (m_sessionEnded)
                m_sessionEnded();
        });
    QObject::connect(m_scripts.get(), &ScriptHost::reported, &m_context,
        [this](const QString& kind, const QJsonValue& value) {
            if (kind == QLatin1String("windowAdded"))
                deliverNewWindow(value);
        });
}

KWinWindowSystem::~KWinWindowSystem()
{
    m_watchers.reset();
}

bool KWinWindowSystem::canControlWindows()
{
    return m_scripts->isAvailable();
}

ScreenSize KWinWindowSystem::mainScreenSize()
{
    const QJsonObject area
        = m_scripts->request(QString::fromLatin1(readScreen)).value_or(QJsonValue()).toObject();
    return {area.value(QLatin1String("width")).toDouble(),
        area.value(QLatin1String("height")).toDouble()};
}

std::optional<QList<WindowInfo>> KWinWindowSystem::managedWindows()
{
    const auto list = m_scripts->request(QString::fromLatin1(listWindows));
    if (!list || !list->isArray())
        return std::nullopt;
    return windowsOfList(list->toArray(), m_ids);
}

QList<std::optional<QList<WindowId>>> KWinWindowSystem::windowsOfProcesses(
    const QList<ProcessId>& pids, int limit)
{
    const auto windows = pids.isEmpty() ? std::nullopt : managedWindows();
    if (!windows)
        return QList<std::optional<QList<WindowId>>>(pids.size());
    return windowsOfLiveProcesses(*windows, pids, limit);
}

QJsonArray KWinWindowSystem::uuidsOf(const QList<WindowId>& windows) const
{
    QJsonArray uuids;
    for (WindowId window : windows)
        uuids.append(m_ids.uuidOf(window));
    return uuids;
}

// One script places every window of the batch, and answers once it has.
void KWinWindowSystem::placeWindows(const QList<Placement>& placements)
{
    QJsonArray targets;
    for (const Placement& placement : placements) {
        QJsonObject target = frameObject(placement.frame);
        target.insert(QStringLiteral("ids"), uuidsOf(placement.windows));
        targets.append(target);
    }
    if (targets.isEmpty())
        return;
    const auto gone = m_scripts->request(withValue(placeWindowsScript, "PLACEMENTS", targets));
    if (gone && !gone->toArray().isEmpty())
        qCDebug(lcWindows) << "Windows gone before KWin placed them:" << gone->toArray().size();
}

// Held frames are kept by scripts inside KWin, which end when Vantor does: a process about to
// exit waits until their time is up.
void KWinWindowSystem::finishPlacements()
{
    if (m_pendingHolds == 0)
        return;
    QEventLoop loop;
    m_holdsDone = [&loop] { loop.quit(); };
    loop.exec();
    m_holdsDone = nullptr;
}

std::unique_ptr<WindowWatch> KWinWindowSystem::watchNewWindows(WindowShown shown)
{
    const int id = m_watchers->nextId++;
    m_watchers->byId.emplace(id, std::move(shown));
    listenForNewWindows();
    return std::make_unique<Watch>(this, id);
}

// The script that reports new windows runs only while somebody watches: the rest of the
// time KWin does not call Vantor.
void KWinWindowSystem::listenForNewWindows()
{
    if (m_newWindowScript.isEmpty())
        m_newWindowScript = m_scripts->load(QString::fromLatin1(reportNewWindows));
}

void KWinWindowSystem::stopListeningIfUnwatched()
{
    if (m_watchers->byId.empty() && !m_newWindowScript.isEmpty()) {
        m_scripts->unload(m_newWindowScript);
        m_newWindowScript.clear();
    }
}

void KWinWindowSystem::deliverNewWindow(const QJsonValue& value)
{
    const WindowInfo window = windowOfObject(value.toObject(), m_ids);
    const std::shared_ptr<Watchers> watchers = m_watchers;
    std::map<int, WindowShown> current = watchers->byId;
    for (auto& [id, shown] : current) {
        if (watchers->byId.count(id))
            shown(window);
    }
}

void KWinWindowSystem::holdFrames(
    const QList<WindowId>& windows, const Frame& target, std::chrono::milliseconds duration)
{
    QJsonObject hold = frameObject(target);
    hold.insert(QStringLiteral("ids"), uuidsOf(windows));
    const QString script = m_scripts->load(withValue(holdFramesScript, "HOLD", hold));
    if (script.isEmpty())
        return;
    ++m_pendingHolds;
    QTimer::singleShot(duration, &m_context, [this, script] {
        m_scripts->unload(script);
        if (--m_pendingHolds == 0 && m_holdsDone)
            m_holdsDone();
    });
}

void KWinWindowSystem::whenSessionEnds(std::function<void()> ended)
{
    m_sessionEnded = std::move(ended);
}

} // namespace Platform::KWin
