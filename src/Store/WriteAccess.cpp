#include "Store/WriteAccess.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace Store {
namespace {

// Room for the -shm file (32 KiB) and a few saves; below it SQLite fails part-way.
constexpr qint64 minimumFreeBytes = 64 * 1024;

bool isWritable(const QString& path)
{
    // The effective user's rights, as for the open itself; root may write a 0400 file.
    return ::faccessat(AT_FDCWD, QFile::encodeName(path).constData(), W_OK, AT_EACCESS) == 0;
}

std::optional<qint64> freeBytes(const QString& directory)
{
    struct statvfs status { };
    if (::statvfs(QFile::encodeName(directory).constData(), &status) != 0)
        return std::nullopt;
    const auto blocks = ::geteuid() == 0 ? status.f_bfree : status.f_bavail;
    return qint64(blocks) * qint64(status.f_frsize);
}

} // namespace

std::optional<QString> whyNotWritable(const QString& path)
{
    const QFileInfo file(path);
    const QString folder = file.absolutePath();
    if (!isWritable(folder))
        return QStringLiteral("the workspace store %1 is read-only: its folder %2 is not writable")
            .arg(path, folder);
    if (file.exists() && !isWritable(path))
        return QStringLiteral("the workspace store %1 is read-only: the file is not writable")
            .arg(path);
    if (const auto free = freeBytes(folder); free && *free < minimumFreeBytes)
        return QStringLiteral("disk full: %1 KiB left for the workspace store %2")
            .arg(*free / 1024)
            .arg(path);
    return std::nullopt;
}

} // namespace Store
