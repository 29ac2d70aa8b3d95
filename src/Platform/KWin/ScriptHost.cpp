#include "Platform/KWin/ScriptHost.h"

#include "Platform/KWin/ReplyMailbox.h"
#include "Util/Logging.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>

namespace Platform::KWin {
namespace {

const QString kwinService = QStringLiteral("org.kde.KWin");
const QString scriptingInterface = QStringLiteral("org.kde.kwin.Scripting");

// Helpers every script starts with. KWin 6 renamed the window list and its signals
// (windowList, windowAdded) and gives windows a list of desktops; KWin 5 has clientList,
// clientAdded and one desktop number.
const char* const prelude = R"JS(
var vantor = { service: "%SERVICE%", path: "%PATH%", iface: "%INTERFACE%" };
function answer(token, value) {
    callDBus(vantor.service, vantor.path, vantor.iface, "Reply", token, JSON.stringify(value));
}
function report(kind, value) {
    callDBus(vantor.service, vantor.path, vantor.iface, "Report", kind, JSON.stringify(value));
}
function windowList() {
    return workspace.windowList ? workspace.windowList() : workspace.clientList();
}
function windowAddedSignal() {
    return workspace.windowAdded ? workspace.windowAdded : workspace.clientAdded;
}
function isOnCurrentDesktop(w) {
    if (w.onAllDesktops)
        return true;
    if (typeof w.desktop === "number")
        return w.desktop === workspace.currentDesktop;
    return Array.isArray(w.desktops) && w.desktops.indexOf(workspace.currentDesktop) >= 0;
}
function isOnCurrentActivity(w) {
    var activities = w.activities;
    return !activities || activities.length === 0
        || activities.indexOf(workspace.currentActivity) >= 0;
}
function typeName(w) {
    var types = ["normalWindow", "dialog", "dock", "desktopWindow", "toolbar", "menu",
                 "utility", "splash", "notification", "popupWindow"];
    var names = ["normal", "dialog", "dock", "desktop", "toolbar", "menu",
                 "utility", "splash", "notification", "popup"];
    for (var i = 0; i < types.length; ++i) {
        if (w[types[i]])
            return names[i];
    }
    return "other";
}
function describe(w) {
    var g = w.frameGeometry;
    return { id: String(w.internalId), pid: w.pid || 0, type: typeName(w),
             resourceClass: String(w.resourceClass || ""), resourceName: String(w.resourceName || ""),
             desktopFile: String(w.desktopFileName || ""), caption: String(w.caption || ""),
             x11: !!w.windowId,
             x: g.x, y: g.y, width: g.width, height: g.height,
             onScreen: !w.minimized && isOnCurrentDesktop(w) && isOnCurrentActivity(w),
             normalLayer: !w.keepAbove && !w.keepBelow, skipTaskbar: !!w.skipTaskbar,
             stacking: typeof w.stackingOrder === "number" ? w.stackingOrder : -1 };
}
function windowsById(ids) {
    var wanted = {};
    for (var i = 0; i < ids.length; ++i)
        wanted[ids[i]] = true;
    var found = {};
    var list = windowList();
    for (var j = 0; j < list.length; ++j) {
        var id = String(list[j].internalId);
        if (wanted[id])
            found[id] = list[j];
    }
    return found;
}
)JS";

QDBusMessage scriptingCall(const QString& method, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        kwinService, QStringLiteral("/Scripting"), scriptingInterface, method);
    call.setArguments(arguments);
    return call;
}

bool writeFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write(contents) == contents.size();
}

} // namespace

ScriptHost::ScriptHost()
    : m_directory(QDir(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation))
                      .filePath(QStringLiteral("vantor-kwin-XXXXXX"))),
      m_mailbox(std::make_unique<ReplyMailbox>())
{
    QObject::connect(m_mailbox.get(), &ReplyMailbox::reported, this,
        [this](const QString& kind, const QString& json) {
            Q_EMIT reported(kind, QJsonDocument::fromJson("[" + json.toUtf8() + "]").array().at(0));
        });
}

ScriptHost::~ScriptHost()
{
    for (const QString& name : QStringList(m_loaded))
        unload(name);
}

bool ScriptHost::isAvailable() const
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() && bus.interface()->isServiceRegistered(kwinService)
        && m_directory.isValid() && !m_mailbox->busName().isEmpty();
}

std::optional<QJsonValue> ScriptHost::request(
    const QString& body, std::chrono::milliseconds timeout)
{
    const QString token = QString::number(m_nextScript);
    const QString name = start(
        QString(body).replace(QLatin1String("TOKEN"), QLatin1Char('"') + token + QLatin1Char('"')));
    if (name.isEmpty())
        return std::nullopt;
    const std::optional<QString> json = m_mailbox->take(token, timeout);
    unload(name);
    if (!json) {
        qCWarning(lcWindows) << "KWin did not answer a script of Vantor in time";
        return std::nullopt;
    }
    return QJsonDocument::fromJson("[" + json->toUtf8() + "]").array().at(0);
}

QString ScriptHost::load(const QString& body)
{
    return start(body);
}

QString ScriptHost::start(const QString& body)
{
    if (!m_directory.isValid() || m_mailbox->busName().isEmpty())
        return {};
    const QDBusConnection bus = QDBusConnection::sessionBus();
    const QString name = QStringLiteral("vantor-%1-%2")
                             .arg(QCoreApplication::applicationPid())
                             .arg(m_nextScript++);
    const QString path = m_directory.filePath(name + QStringLiteral(".js"));
    const QString source
        = QString::fromLatin1(prelude)
              .replace(QLatin1String("%SERVICE%"), m_mailbox->busName())
              .replace(QLatin1String("%PATH%"), QLatin1String(ReplyMailbox::path))
              .replace(QLatin1String("%INTERFACE%"), QLatin1String(ReplyMailbox::interfaceName))
        + body;
    if (!writeFile(path, source.toUtf8()))
        return {};
    const QDBusMessage loaded
        = bus.call(scriptingCall(QStringLiteral("loadScript"), {path, name}), QDBus::Block, 2000);
    const int scriptId = loaded.arguments().value(0, -1).toInt();
    if (loaded.type() != QDBusMessage::ReplyMessage || scriptId < 0) {
        qCWarning(lcWindows).noquote()
            << "KWin did not load a script of Vantor:" << loaded.errorMessage();
        // KWin may still load it after the time limit; it handles calls in order, so this
        // unloads it then.
        bus.asyncCall(scriptingCall(QStringLiteral("unloadScript"), {name}));
        QFile::remove(path);
        return {};
    }
    m_loaded.append(name);
    if (!runLoadedScripts()) {
        unload(name);
        return {};
    }
    return name;
}

// KWin numbers a script by the count of scripts loaded, so after an unload a new script may
// get the number of one still loaded, whose D-Bus object then answers for both: running a
// script by its number may start nothing. Scripting's start() runs every loaded script that
// is not running yet, whatever its number.
bool ScriptHost::runLoadedScripts()
{
    const QDBusMessage reply = QDBusConnection::sessionBus().call(
        scriptingCall(QStringLiteral("start"), {}), QDBus::Block, 2000);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return true;
    qCWarning(lcWindows).noquote()
        << "KWin did not start a script of Vantor:" << reply.errorMessage();
    return false;
}

void ScriptHost::unload(const QString& name)
{
    if (!m_loaded.removeOne(name))
        return;
    QDBusConnection::sessionBus().call(
        scriptingCall(QStringLiteral("unloadScript"), {name}), QDBus::Block, 2000);
    QFile::remove(m_directory.filePath(name + QStringLiteral(".js")));
}

} // namespace Platform::KWin
