#include "DesktopFacts.h"

#include "TestDesktop.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>

#include <csignal>
#include <sys/wait.h>

namespace DesktopFacts {
namespace {

// Runs an X tool; an empty result when it fails (a window that is gone is no error here).
QString quietly(const QString& program, const QStringList& arguments)
{
    QProcess process;
    dieWithParent(process);
    process.start(program, arguments);
    if (!process.waitForFinished(10000) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        process.kill();
        process.waitForFinished(1000);
        return {};
    }
    return QString::fromUtf8(process.readAllStandardOutput());
}

int field(const QString& text, const QString& label)
{
    const QRegularExpression pattern(
        QRegularExpression::escape(label) + QStringLiteral(":\\s*(-?\\d+)"));
    return pattern.match(text).captured(1).toInt();
}

WindowId parseWindowId(const QString& text)
{
    QString digits = text.trimmed();
    if (digits.startsWith(QLatin1String("0x")))
        digits = digits.mid(2);
    bool ok = false;
    const WindowId id = digits.toUInt(&ok, 16);
    return ok ? id : 0;
}

} // namespace

QString hex(WindowId window)
{
    return QStringLiteral("0x%1").arg(window, 0, 16);
}

QRect outerFrame(WindowId window)
{
    const QString info = quietly(QStringLiteral("xwininfo"), {QStringLiteral("-id"), hex(window)});
    if (info.isEmpty())
        return {};
    const QString property = quietly(QStringLiteral("xprop"),
        {QStringLiteral("-id"), hex(window), QStringLiteral("_NET_FRAME_EXTENTS")});
    QList<int> e;
    for (const QString& value : property.section(u'=', 1).split(u',', Qt::SkipEmptyParts))
        e.append(value.trimmed().toInt());
    if (e.size() != 4)
        e = {0, 0, 0, 0};
    return QRect(field(info, QStringLiteral("Absolute upper-left X")) - e[0],
        field(info, QStringLiteral("Absolute upper-left Y")) - e[2],
        field(info, QStringLiteral("Width")) + e[0] + e[1],
        field(info, QStringLiteral("Height")) + e[2] + e[3]);
}

QSize clientSize(WindowId window)
{
    const QString info = quietly(QStringLiteral("xwininfo"), {QStringLiteral("-id"), hex(window)});
    if (info.isEmpty())
        return {};
    return QSize(field(info, QStringLiteral("Width")), field(info, QStringLiteral("Height")));
}

QString mapState(WindowId window)
{
    const QString info = quietly(QStringLiteral("xwininfo"), {QStringLiteral("-id"), hex(window)});
    return QRegularExpression(QStringLiteral("Map State:\\s*(\\w+)")).match(info).captured(1);
}

WindowId activeWindow()
{
    const QString text = quietly(
        QStringLiteral("xprop"), {QStringLiteral("-root"), QStringLiteral("_NET_ACTIVE_WINDOW")});
    return parseWindowId(text.section(u'#', 1));
}

QString title(WindowId window)
{
    const QRegularExpression quoted(QStringLiteral("= \"(.*)\"$"));
    for (const QString& name : {QStringLiteral("_NET_WM_NAME"), QStringLiteral("WM_NAME")}) {
        const QString text
            = quietly(QStringLiteral("xprop"), {QStringLiteral("-id"), hex(window), name})
                  .trimmed();
        const auto match = quoted.match(text);
        if (match.hasMatch())
            return match.captured(1);
    }
    return {};
}

QStringList wmClass(WindowId window)
{
    const QString text = quietly(
        QStringLiteral("xprop"), {QStringLiteral("-id"), hex(window), QStringLiteral("WM_CLASS")});
    QStringList names;
    const QRegularExpression quoted(QStringLiteral("\"([^\"]*)\""));
    for (auto it = quoted.globalMatch(text); it.hasNext();)
        names.append(it.next().captured(1));
    return names;
}

QList<WindowId> ancestors(WindowId window)
{
    QList<WindowId> chain;
    const QRegularExpression root(QStringLiteral("Root window id:\\s*(0x[0-9a-f]+)"));
    const QRegularExpression parent(QStringLiteral("Parent window id:\\s*(0x[0-9a-f]+)"));
    WindowId current = window;
    while (chain.size() < 32) {
        const QString tree = quietly(QStringLiteral("xwininfo"),
            {QStringLiteral("-tree"), QStringLiteral("-id"), hex(current)});
        const WindowId rootId = parseWindowId(root.match(tree).captured(1));
        const WindowId parentId = parseWindowId(parent.match(tree).captured(1));
        if (parentId == 0 || parentId == rootId)
            break;
        chain.append(parentId);
        current = parentId;
    }
    return chain;
}

QList<WindowId> windowsOfClassName(const QString& instance)
{
    // xdotool takes a regular expression; anchor it so "vantor" does not match more.
    const QString text = quietly(QStringLiteral("xdotool"),
        {QStringLiteral("search"), QStringLiteral("--classname"),
            QStringLiteral("^%1$").arg(QRegularExpression::escape(instance))});
    QList<WindowId> windows;
    for (const QString& line : text.split(u'\n', Qt::SkipEmptyParts))
        windows.append(line.trimmed().toUInt());
    return windows;
}

QString processName(qint64 pid)
{
    QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
    if (!comm.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(comm.readAll()).trimmed();
}

void moveWindow(WindowId window, int x, int y, QSize size)
{
    QStringList arguments{
        QStringLiteral("windowmove"), hex(window), QString::number(x), QString::number(y)};
    if (size.isValid())
        arguments << QStringLiteral("windowsize") << hex(window) << QString::number(size.width())
                  << QString::number(size.height());
    quietly(QStringLiteral("xdotool"), arguments);
}

bool screenshot(const QString& path)
{
    QProcess process;
    dieWithParent(process);
    process.start(
        QStringLiteral("import"), {QStringLiteral("-window"), QStringLiteral("root"), path});
    return process.waitForFinished(20000) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
}

} // namespace DesktopFacts

namespace TestApps {
namespace {

QString geometryArgument(const QRect& geometry)
{
    return QStringLiteral("%1x%2+%3+%4")
        .arg(geometry.width())
        .arg(geometry.height())
        .arg(geometry.x())
        .arg(geometry.y());
}

// The state letter of /proc/PID/stat ('Z' for a zombie), or 0 when the process is gone.
char processState(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    return close > 0 && close + 2 < line.size() ? line.at(close + 2) : 0;
}

} // namespace

QList<TestApp> standard()
{
    return {
        {QStringLiteral("test-clock"), QStringLiteral("Test Clock"), QStringLiteral("xclock"),
            QStringLiteral("XClock"), QRect(40, 60, 320, 240), QRect(600, 100, 300, 300)},
        {QStringLiteral("test-eyes"), QStringLiteral("Test Eyes"), QStringLiteral("xeyes"),
            QStringLiteral("XEyes"), QRect(420, 80, 260, 200), QRect(620, 460, 300, 300)},
        {QStringLiteral("test-logo"), QStringLiteral("Test Logo"), QStringLiteral("xlogo"),
            QStringLiteral("XLogo"), QRect(800, 120, 300, 280), QRect(1000, 460, 300, 300)},
    };
}

TestApp calculator()
{
    return {QStringLiteral("test-calc"), QStringLiteral("Test Calc"), QStringLiteral("xcalc"),
        QStringLiteral("XCalc"), QRect(1300, 600, 0, 0), QRect(1300, 600, 0, 0)};
}

void writeDesktopEntry(const TestApp& app)
{
    QString exec = app.program;
    if (app.launchGeometry.isValid())
        exec += QStringLiteral(" -geometry ") + geometryArgument(app.launchGeometry);
    const QString text = QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\n"
                                        "StartupWMClass=%3\n")
                             .arg(app.name, exec, app.wmClass);
    const QString path = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/")
        + app.id + QStringLiteral(".desktop");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("Cannot write %s", qPrintable(path));
    file.write(text.toUtf8());
}

qint64 start(const TestApp& app)
{
    QStringList arguments;
    if (app.startGeometry.isValid())
        arguments << QStringLiteral("-geometry") << geometryArgument(app.startGeometry);
    else
        arguments << QStringLiteral("-geometry")
                  << QStringLiteral("+%1+%2").arg(app.startGeometry.x()).arg(app.startGeometry.y());
    return TestDesktop::instance()->startApp(app.program, arguments);
}

QList<qint64> pidsOf(const QString& program)
{
    QList<qint64> pids;
    const XProbe& probe = TestDesktop::instance()->probe();
    for (const std::uint32_t window : probe.clientWindows()) {
        const qint64 pid = probe.pidOf(window);
        if (pid > 0 && !pids.contains(pid) && DesktopFacts::processName(pid) == program)
            pids.append(pid);
    }
    return pids;
}

QList<WindowId> windowsOf(const QString& program)
{
    QList<WindowId> windows;
    const XProbe& probe = TestDesktop::instance()->probe();
    for (const std::uint32_t window : probe.clientWindows()) {
        const qint64 pid = probe.pidOf(window);
        if (pid > 0 && DesktopFacts::processName(pid) == program)
            windows.append(window);
    }
    return windows;
}

void stop(qint64 pid)
{
    if (pid <= 0)
        return;
    TestDesktop& desktop = *TestDesktop::instance();
    desktop.stopApp(pid); // its own children are ended and reaped there; others get SIGTERM
    const auto gone = [pid] {
        ::waitpid(static_cast<pid_t>(pid), nullptr, WNOHANG); // reaps it if it is the test's
        const char state = processState(pid);
        return state == 0 || state == 'Z';
    };
    if (!TestDesktop::waitUntil(gone, std::chrono::seconds(5))) {
        ::kill(static_cast<pid_t>(pid), SIGKILL);
        TestDesktop::waitUntil(gone, std::chrono::seconds(5));
    }
    TestDesktop::waitUntil(
        [&desktop, pid] {
            return desktop.probe().clientWindowsOf(static_cast<std::int32_t>(pid)).isEmpty();
        },
        std::chrono::seconds(5));
}

void stopAll(const QString& program)
{
    for (const qint64 pid : pidsOf(program))
        stop(pid);
}

} // namespace TestApps
