#include "SessionUser.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <csignal>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace SessionUser {

uid_t uid()
{
    const passwd* user = ::getpwnam(name);
    return user ? user->pw_uid : static_cast<uid_t>(-1);
}

gid_t gid()
{
    const struct group* entry = ::getgrnam(group);
    return entry ? entry->gr_gid : static_cast<gid_t>(-1);
}

QStringList command(const QString& program, const QStringList& arguments)
{
    return QStringList{QStringLiteral("--reuid=%1").arg(QLatin1String(name)),
               QStringLiteral("--regid=%1").arg(QLatin1String(group)),
               QStringLiteral("--clear-groups"), QStringLiteral("--pdeathsig"),
               QStringLiteral("KILL"), program}
    + arguments;
}

bool own(const QString& path)
{
    return ::chown(QFile::encodeName(path).constData(), uid(), gid()) == 0;
}

QString makePrivateDirectory(const QString& templatePath)
{
    QByteArray path = QFile::encodeName(templatePath);
    if (!::mkdtemp(path.data()))
        return {};
    const QString made = QFile::decodeName(path);
    if (!own(made) || ::chmod(path.constData(), 0700) != 0) {
        QDir(made).removeRecursively();
        return {};
    }
    return made;
}

} // namespace SessionUser

namespace ProcessTree {

bool waitForExit(pid_t pid, std::chrono::milliseconds timeout)
{
    const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (pidfd < 0)
        return errno == ESRCH;
    pollfd watch{pidfd, POLLIN, 0};
    const bool exited = ::poll(&watch, 1, static_cast<int>(timeout.count())) == 1;
    ::close(pidfd);
    if (exited)
        ::waitpid(pid, nullptr, WNOHANG);
    return exited;
}

QList<pid_t> descendantsOf(pid_t pid)
{
    QList<pid_t> found;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(tasks.filePath(task) + QStringLiteral("/children"));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray& child : file.readAll().split(' ')) {
            if (const pid_t childPid = child.trimmed().toInt(); childPid > 0)
                found << childPid << descendantsOf(childPid);
        }
    }
    return found;
}

void end(pid_t pid)
{
    ::kill(pid, SIGTERM);
    if (!waitForExit(pid, std::chrono::seconds(3))) {
        ::kill(pid, SIGKILL);
        waitForExit(pid, std::chrono::seconds(2));
    }
}

QList<pid_t> withEnvironment(uid_t user, const QByteArray& variable, const QByteArray& value)
{
    QList<pid_t> found;
    const QByteArray wanted = variable + '=' + value;
    const QDir proc(QStringLiteral("/proc"));
    for (const QString& entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        struct stat info { };
        const pid_t pid = entry.toInt();
        if (pid <= 0 || ::stat(QFile::encodeName(proc.filePath(entry)).constData(), &info) != 0
            || info.st_uid != user)
            continue;
        QFile environ(proc.filePath(entry) + QStringLiteral("/environ"));
        if (environ.open(QIODevice::ReadOnly) && environ.readAll().split('\0').contains(wanted))
            found.append(pid);
    }
    return found;
}

QByteArray programOf(pid_t pid)
{
    QFile file(QStringLiteral("/proc/%1/cmdline").arg(pid));
    return file.open(QIODevice::ReadOnly) ? file.readAll().split('\0').value(0) : QByteArray();
}

} // namespace ProcessTree

namespace ProcessTree {

void reapEndedChildren(uid_t user, const QList<qint64>& except)
{
    const QByteArray self = QByteArray::number(::getpid());
    const QDir proc(QStringLiteral("/proc"));
    for (const QString& entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(proc.filePath(entry) + QStringLiteral("/status"));
        if (except.contains(entry.toLongLong()) || !file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray status = file.readAll();
        if (status.contains("\nState:\tZ") && status.contains("\nPPid:\t" + self + '\n')
            && status.contains("\nUid:\t" + QByteArray::number(user) + '\t'))
            ::waitpid(entry.toInt(), nullptr, WNOHANG);
    }
}

} // namespace ProcessTree
