// The real tray app's main window as a screen reader sees it: the accessibility bus of a
// private session, read and pressed by tests/desktop/atspi/vantor_window.py.
#include "TestMain.h"
#include "VantorProcess.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

namespace {

const QString kScript = QStringLiteral(VANTOR_TEST_SOURCE_DIR "/desktop/atspi/vantor_window.py");
const QString kShown = QStringLiteral("Accessibility permissions are granted.");

} // namespace

class MainWindowE2eTest final : public QObject {
    Q_OBJECT

    QProcess m_bus;
    QProcess m_accessibilityBus;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
    VantorProcess m_vantor;

    struct Node {
        QString role;
        QString name;
        bool showing = false;
        bool selected = false;
    };

    // The named nodes of Vantor's window, read through the accessibility bus.
    QList<Node> tree()
    {
        QProcess script;
        script.setProcessEnvironment(m_environment);
        script.start(QStringLiteral("/usr/bin/python3"), {kScript, QStringLiteral("tree")});
        if (!script.waitForFinished(30000) || script.exitCode() != 0) {
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

    std::optional<Node> node(const QString& role, const QString& name)
    {
        for (const Node& candidate : tree()) {
            if (candidate.role == role && candidate.name == name)
                return candidate;
        }
        return std::nullopt;
    }

    bool press(const QString& name, const QString& role)
    {
        QProcess script;
        script.setProcessEnvironment(m_environment);
        script.start(QStringLiteral("/usr/bin/python3"), {kScript, QStringLiteral("press"), name, role});
        return script.waitForFinished(30000) && script.exitCode() == 0;
    }

    // Whether the window is registered now, without waiting for it.
    bool windowIsShown()
    {
        QProcess script;
        script.setProcessEnvironment(m_environment);
        script.start(QStringLiteral("/usr/bin/python3"), {kScript, QStringLiteral("shown")});
        return script.waitForFinished(30000) && script.exitCode() == 0;
    }

    bool isShowing(const QString& role, const QString& name)
    {
        const auto found = node(role, name);
        return found && found->showing;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_bus.start(QStringLiteral("dbus-daemon"),
            {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        QVERIFY(m_bus.waitForStarted());
        QVERIFY(m_bus.waitForReadyRead(10000));
        const QString address = QString::fromUtf8(m_bus.readLine().trimmed());
        m_environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);
        m_accessibilityBus.setProcessEnvironment(m_environment);
        m_accessibilityBus.start(
            QStringLiteral("/usr/libexec/at-spi-bus-launcher"), {QStringLiteral("--launch-immediately")});
        QVERIFY(m_accessibilityBus.waitForStarted());
        m_environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
        m_environment.insert(QStringLiteral("VANTOR_COLOR_SCHEME"), QStringLiteral("light"));
        QVERIFY(m_vantor.start({}, m_environment));
        QVERIFY2(m_vantor.waitForLines(kShown, 1, std::chrono::seconds(30)), qPrintable(m_vantor.err()));
    }

    void cleanupTestCase()
    {
        m_vantor.terminate();
        m_accessibilityBus.kill();
        m_accessibilityBus.waitForFinished();
        m_bus.kill();
        m_bus.waitForFinished();
    }

    void init() { failOnUnexpectedWarnings(); }

    void aScreenReaderFindsTheFrameAndBothTabs()
    {
        QVERIFY(node(QStringLiteral("frame"), QStringLiteral("Vantor")));
        QVERIFY(node(QStringLiteral("page tab"), QStringLiteral("Workspaces")));
        QVERIFY(node(QStringLiteral("page tab"), QStringLiteral("Settings")));
    }

    void pressingATabShowsItsScreen()
    {
        QVERIFY(press(QStringLiteral("Settings"), QStringLiteral("page tab")));
        QTRY_VERIFY(isShowing(QStringLiteral("panel"), QStringLiteral("Settings")));
        QVERIFY(!isShowing(QStringLiteral("panel"), QStringLiteral("Workspaces")));
        QVERIFY(press(QStringLiteral("Workspaces"), QStringLiteral("page tab")));
        QTRY_VERIFY(isShowing(QStringLiteral("panel"), QStringLiteral("Workspaces")));
        QVERIFY(!isShowing(QStringLiteral("panel"), QStringLiteral("Settings")));
    }

    void aSecondStartShowsTheWindowAgainWithItsChecks()
    {
        TestDesktop::run(QStringLiteral("wmctrl"), {QStringLiteral("-c"), QStringLiteral("Vantor")});
        QTRY_VERIFY_WITH_TIMEOUT(!windowIsShown(), 20000);
        const VantorRun second = VantorProcess::run({}, std::chrono::seconds(30), m_environment);
        QVERIFY2(second.exitedWith(0), second.describe());
        QVERIFY(m_vantor.waitForLines(kShown, 2, std::chrono::seconds(30)));
        QVERIFY(node(QStringLiteral("page tab"), QStringLiteral("Settings")));
    }

    // Run last: whatever the screens did above, the QML engine had nothing to complain of
    // (no binding loop, no type error, no missing file).
    void theScreensRanWithoutAQmlWarning()
    {
        const QString errors = m_vantor.err();
        QVERIFY2(!errors.contains(QLatin1String("qrc:/")) && !errors.contains(QLatin1String(".qml")),
            qPrintable(errors));
    }
};

VANTOR_DESKTOP_TEST_MAIN(MainWindowE2eTest)
#include "tst_main_window_e2e.moc"
