#include "TestEnvironment.h"

#include <QDir>
#include <QFile>

#include <csignal>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

TestEnvironment::TestEnvironment()
    : m_root(QDir::tempPath() + QStringLiteral("/vantor-test-XXXXXX"))
{
    if (!m_root.isValid())
        qFatal("Cannot create a temporary home for the test");
    for (const QString& dir :
        {home(), configHome(), dataHome(), cacheHome(), runtimeDir(), applicationsDir()})
        QDir().mkpath(dir);
    ::chmod(QFile::encodeName(runtimeDir()).constData(), 0700);

    qputenv("HOME", QFile::encodeName(home()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(configHome()));
    qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome()));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(cacheHome()));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtimeDir()));
    qputenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    qputenv("XDG_CONFIG_DIRS", "/etc/xdg");
    // Keep the test away from the user's session services and desktop.
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    qunsetenv("XDG_CURRENT_DESKTOP");
    qunsetenv("XDG_SESSION_TYPE");
    qunsetenv("WAYLAND_DISPLAY");
    qunsetenv("DESKTOP_STARTUP_ID");
    qunsetenv("SESSION_MANAGER");
    qputenv("LC_ALL", "C.UTF-8");
    qputenv("TZ", "UTC");
    // Update checks stay on this machine: nothing listens there, so they fail at once. Tests
    // of the update card point this at a server of their own.
    qputenv("VANTOR_UPDATE_FEED_URL", "http://127.0.0.1:9/appcast.xml");
    becomeSubreaper();
}

TestEnvironment::~TestEnvironment()
{
    killRemainingChildren();
}

QString TestEnvironment::writeDesktopEntry(const QString& id, const QString& contents) const
{
    const QString path = applicationsDir() + QLatin1Char('/') + id + QStringLiteral(".desktop");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("Cannot write %s", qPrintable(path));
    file.write(contents.toUtf8());
    return path;
}

void TestEnvironment::becomeSubreaper()
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void TestEnvironment::killRemainingChildren()
{
    const QString self = QString::number(::getpid());
    const QDir proc(QStringLiteral("/proc"));
    for (const QString& entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool isPid = false;
        const pid_t pid = entry.toInt(&isPid);
        if (!isPid)
            continue;
        QFile stat(QStringLiteral("/proc/%1/stat").arg(entry));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        // "pid (comm) state ppid ...": comm may hold blanks, so read after the last ')'.
        const QByteArray line = stat.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1 && fields.at(1) == self.toLatin1()) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
    }
}
