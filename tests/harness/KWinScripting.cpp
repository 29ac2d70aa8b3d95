#include "KWinScripting.h"

#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QTimer>
#include <QtDebug>

namespace {

const QString kwinService = QStringLiteral("org.kde.KWin");
const QString harnessPath = QStringLiteral("/VantorHarness");

QString quoted(const QString& text)
{
    // A JSON string is a JavaScript string literal.
    return QString::fromUtf8(QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact))
        .mid(1)
        .chopped(1);
}

} // namespace

KWinScript::KWinScript(KWinScripting& scripting, QString pluginName, QString token)
    : m_scripting(scripting), m_pluginName(std::move(pluginName)), m_token(std::move(token))
{
}

KWinScript::~KWinScript()
{
    m_scripting.unload(m_pluginName, m_token);
}

std::optional<QJsonValue> KWinScript::nextReport(std::chrono::milliseconds timeout)
{
    return m_scripting.takeReport(m_token, timeout);
}

int KWinScript::pendingReports() const
{
    return static_cast<int>(m_scripting.m_reports.value(m_token).size());
}

KWinScripting::KWinScripting(const QDBusConnection& bus, const QString& directory)
    : m_bus(bus), m_directory(directory)
{
    if (!m_bus.registerObject(harnessPath, this, QDBusConnection::ExportScriptableSlots))
        qWarning() << "Cannot export the harness's script object:" << m_bus.lastError().message();
}

KWinScripting::~KWinScripting()
{
    m_bus.unregisterObject(harnessPath);
}

QString KWinScripting::wrap(const QString& code, const QString& token) const
{
    const QString call = QStringLiteral("callDBus(%1, %2, \"org.vantor.KWinHarness\", ")
                             .arg(quoted(m_bus.baseService()), quoted(harnessPath));
    return QStringLiteral("(function () {\n"
                          "function report(value) {\n"
                          "    %1\"report\", %2,\n"
                          "        JSON.stringify(value === undefined ? null : value));\n"
                          "}\n"
                          "try {\n"
                          "%3\n"
                          "} catch (error) {\n"
                          "    %1\"fail\", %2, String(error));\n"
                          "}\n"
                          "})();\n")
        .arg(call, quoted(token), code);
}

std::unique_ptr<KWinScript> KWinScripting::load(const QString& code)
{
    const QString token = QString::number(++m_scripts);
    const QString pluginName = QStringLiteral("vantor-harness-") + token;
    const QString path = QStringLiteral("%1/script-%2.js").arg(m_directory, token);
    QFile file(path);
    const QByteArray contents = wrap(code, token).toUtf8();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || file.write(contents) != contents.size()
        || !file.setPermissions(
            QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther)) {
        qWarning() << "Cannot write the KWin script" << path;
        return nullptr;
    }
    file.close();
    QDBusMessage call = QDBusMessage::createMethodCall(kwinService, QStringLiteral("/Scripting"),
        QStringLiteral("org.kde.kwin.Scripting"), QStringLiteral("loadScript"));
    call << path << pluginName;
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().value(0, -1).toInt() < 0) {
        qWarning() << "KWin did not load the script" << path << reply.errorMessage();
        QFile::remove(path);
        return nullptr;
    }
    auto script = std::make_unique<KWinScript>(*this, pluginName, token);
    if (!runLoadedScripts()) {
        qWarning() << "KWin did not run the script" << path;
        return nullptr;
    }
    return script;
}

// KWin may give a new script the number of one still loaded (Vantor's, say), so the script
// is not started by its number: start() runs every loaded script that is not running yet.
bool KWinScripting::runLoadedScripts() const
{
    const QDBusMessage call
        = QDBusMessage::createMethodCall(kwinService, QStringLiteral("/Scripting"),
            QStringLiteral("org.kde.kwin.Scripting"), QStringLiteral("start"));
    return m_bus.call(call, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}

std::optional<QJsonValue> KWinScripting::evaluate(
    const QString& code, std::chrono::milliseconds timeout)
{
    const std::unique_ptr<KWinScript> script = load(code);
    if (!script)
        return std::nullopt;
    const std::optional<QJsonValue> value = script->nextReport(timeout);
    if (!value && !m_failed.contains(script->m_token))
        qWarning() << "A KWin script reported nothing in time";
    return value;
}

std::optional<QJsonValue> KWinScripting::takeReport(
    const QString& token, std::chrono::milliseconds timeout)
{
    const QDeadlineTimer deadline(timeout);
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    const auto arrived = connect(this, &KWinScripting::arrived, &loop, &QEventLoop::quit);
    while (
        m_reports.value(token).isEmpty() && !m_errors.contains(token) && !deadline.hasExpired()) {
        timer.start(static_cast<int>(deadline.remainingTime()));
        loop.exec();
    }
    disconnect(arrived);
    if (const QString error = m_errors.take(token); !error.isEmpty()) {
        qWarning() << "A KWin script failed:" << error;
        m_failed.insert(token);
        return std::nullopt;
    }
    QList<QJsonValue>& reports = m_reports[token];
    if (reports.isEmpty())
        return std::nullopt;
    return reports.takeFirst();
}

void KWinScripting::unload(const QString& pluginName, const QString& token)
{
    QDBusMessage call = QDBusMessage::createMethodCall(kwinService, QStringLiteral("/Scripting"),
        QStringLiteral("org.kde.kwin.Scripting"), QStringLiteral("unloadScript"));
    call << pluginName;
    m_bus.call(call, QDBus::Block, 5000);
    m_reports.remove(token);
    m_errors.remove(token);
    m_failed.remove(token);
    QFile::remove(QStringLiteral("%1/script-%2.js").arg(m_directory, token));
}

void KWinScripting::report(const QString& token, const QString& json)
{
    // Wrapped in an array, any JSON value parses, a bare number or string included.
    const QJsonDocument document
        = QJsonDocument::fromJson(QByteArray("[") + json.toUtf8() + QByteArray("]"));
    m_reports[token].append(document.array().at(0));
    Q_EMIT arrived();
}

void KWinScripting::fail(const QString& token, const QString& error)
{
    m_errors.insert(token, error.isEmpty() ? QStringLiteral("unknown error") : error);
    Q_EMIT arrived();
}
