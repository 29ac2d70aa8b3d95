#include "Platform/Processes.h"

#include <QFile>

#include <cerrno>
#include <csignal>

namespace Platform {
namespace {

bool isZombie(ProcessId pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    // "pid (comm) state ...": comm may hold blanks and parentheses.
    const QByteArray line = stat.readAll();
    const qsizetype end = line.lastIndexOf(')');
    return end >= 0 && line.size() > end + 2 && line.at(end + 2) == 'Z';
}

} // namespace

bool processExists(ProcessId pid)
{
    if (pid <= 0) // 0 and negative ids name process groups
        return false;
    if (::kill(pid, 0) != 0 && errno != EPERM)
        return false;
    return !isZombie(pid);
}

} // namespace Platform
