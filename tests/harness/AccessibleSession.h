#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QtGlobal>

#include <optional>

// A private session bus with an accessibility bus on it, and Vantor's main window read and
// pressed through it as a screen reader does (tests/desktop/atspi/vantor_window.py, run by
// /usr/bin/python3). Programs started with environment() draw their accessible tree there.
class AccessibleSession {
public:
    struct Node {
        QString role;
        QString name;
        bool showing = false;
        bool selected = false;
    };

    explicit AccessibleSession(QString script) : m_script(std::move(script)) { }

    ~AccessibleSession()
    {
        m_accessibilityBus.kill();
        m_accessibilityBus.waitForFinished();
        m_bus.kill();
        m_bus.waitForFinished();
    }

    // Starts both buses; false when either would not start.
    bool start()
    {
        m_bus.start(QStringLiteral("dbus-daemon"),
            {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        if (!m_bus.waitForStarted() || !m_bus.waitForReadyRead(10000))
            return false;
        const QString address = QString::fromUtf8(m_bus.readLine().trimmed());
        m_environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);
        m_accessibilityBus.setProcessEnvironment(m_environment);
        m_accessibilityBus.start(
            QStringLiteral("/usr/libexec/at-spi-bus-launcher"), {QStringLiteral("--launch-immediately")});
        m_environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
        m_environment.insert(QStringLiteral("VANTOR_COLOR_SCHEME"), QStringLiteral("light"));
        return m_accessibilityBus.waitForStarted();
    }

    const QProcessEnvironment& environment() const { return m_environment; }

    // The named nodes of Vantor's window.
    QList<Node> tree() const
    {
        QProcess script;
        if (!runScript(script, {QStringLiteral("tree")})) {
            qWarning() << "Reading the accessibility tree failed:" << script.readAllStandardError();
            return {};
        }
        QList<Node> nodes;
        for (const QByteArray& line : script.readAllStandardOutput().split('\n')) {
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

    std::optional<Node> node(const QString& role, const QString& name) const
    {
        for (const Node& candidate : tree()) {
            if (candidate.role == role && candidate.name == name)
                return candidate;
        }
        return std::nullopt;
    }

    bool isShowing(const QString& role, const QString& name) const
    {
        const auto found = node(role, name);
        return found && found->showing;
    }

    // Presses the first node of that name and role.
    bool press(const QString& name, const QString& role) const
    {
        QProcess script;
        return runScript(script, {QStringLiteral("press"), name, role});
    }

    // Whether the window is registered now, without waiting for it.
    bool windowIsShown() const
    {
        QProcess script;
        return runScript(script, {QStringLiteral("shown")});
    }

private:
    bool runScript(QProcess& script, const QStringList& arguments) const
    {
        script.setProcessEnvironment(m_environment);
        script.start(QStringLiteral("/usr/bin/python3"), QStringList{m_script} + arguments);
        return script.waitForFinished(30000) && script.exitStatus() == QProcess::NormalExit
            && script.exitCode() == 0;
    }

    QString m_script;
    QProcess m_bus;
    QProcess m_accessibilityBus;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
};
