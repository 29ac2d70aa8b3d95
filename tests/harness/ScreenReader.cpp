#include "ScreenReader.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

const QString kScript = QStringLiteral(VANTOR_HARNESS_DIR "/vantor_window.py");
constexpr int kScriptTimeoutMs = 30000;

} // namespace

ScreenReader::~ScreenReader()
{
    for (QProcess* process : {&m_accessibilityBus, &m_bus}) {
        process->kill();
        process->waitForFinished();
    }
}

bool ScreenReader::start()
{
    m_bus.start(QStringLiteral("dbus-daemon"),
        {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
    if (!m_bus.waitForStarted() || !m_bus.waitForReadyRead(10000))
        return false;
    m_environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
        QString::fromUtf8(m_bus.readLine().trimmed()));
    m_accessibilityBus.setProcessEnvironment(m_environment);
    m_accessibilityBus.start(
        QStringLiteral("/usr/libexec/at-spi-bus-launcher"), {QStringLiteral("--launch-immediately")});
    if (!m_accessibilityBus.waitForStarted())
        return false;
    m_environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    return true;
}

ScreenReader::Result ScreenReader::runScript(const QStringList& arguments) const
{
    QProcess script;
    script.setProcessEnvironment(m_environment);
    script.start(QStringLiteral("/usr/bin/python3"), QStringList{kScript} + arguments);
    const bool finished = script.waitForFinished(kScriptTimeoutMs);
    return {finished && script.exitStatus() == QProcess::NormalExit && script.exitCode() == 0,
        script.readAllStandardOutput(), script.readAllStandardError()};
}

QList<ScreenReader::Node> ScreenReader::tree() const
{
    const Result result = runScript({QStringLiteral("tree")});
    if (!result.ok) {
        qWarning() << "Reading the accessibility tree failed:" << result.errors;
        return {};
    }
    QList<Node> nodes;
    for (const QByteArray& line : result.output.split('\n')) {
        const QJsonObject node = QJsonDocument::fromJson(line).object();
        if (node.isEmpty())
            continue;
        nodes.append({node.value(QLatin1String("role")).toString(),
            node.value(QLatin1String("name")).toString(),
            node.value(QLatin1String("showing")).toBool(),
            node.value(QLatin1String("selected")).toBool()});
    }
    return nodes;
}

std::optional<ScreenReader::Node> ScreenReader::node(const QString& role, const QString& name) const
{
    for (const Node& candidate : tree()) {
        if (candidate.role == role && candidate.name == name)
            return candidate;
    }
    return std::nullopt;
}

bool ScreenReader::isShowing(const QString& role, const QString& name) const
{
    const std::optional<Node> found = node(role, name);
    return found && found->showing;
}

bool ScreenReader::press(const QString& name, const QString& role, const QString& within) const
{
    QStringList arguments{QStringLiteral("press"), name, role};
    if (!within.isEmpty())
        arguments << QStringLiteral("--in") << within;
    return runScript(arguments).ok;
}

bool ScreenReader::windowIsShown() const
{
    return runScript({QStringLiteral("shown")}).ok;
}

QRect ScreenReader::extents(const QString& role, int index) const
{
    const Result result = runScript({QStringLiteral("extents"), role, QString::number(index)});
    const QList<QByteArray> numbers = result.output.trimmed().split(' ');
    if (!result.ok || numbers.size() != 4)
        return {};
    return {numbers.at(0).toInt(), numbers.at(1).toInt(), numbers.at(2).toInt(), numbers.at(3).toInt()};
}

bool ScreenReader::focus(const QString& role, int index) const
{
    return runScript({QStringLiteral("focus"), role, QString::number(index)}).ok;
}

bool ScreenReader::isFocused(const QString& role, int index) const
{
    return runScript({QStringLiteral("focused"), role, QString::number(index)}).ok;
}
