#include "KeyboardShortcuts/PreferencesFile.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KeyboardShortcuts {
namespace {

QString kindOf(mode_t mode)
{
    if (S_ISFIFO(mode))
        return QStringLiteral("a FIFO");
    if (S_ISDIR(mode))
        return QStringLiteral("a directory");
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return QStringLiteral("a device");
    if (S_ISSOCK(mode))
        return QStringLiteral("a socket");
    return QStringLiteral("of an unknown kind");
}

// Why a file of this kind and size is not read; empty when it may be.
QString refusalOf(const struct stat& info)
{
    if (!S_ISREG(info.st_mode))
        return kindOf(info.st_mode) + QStringLiteral(", not a regular file");
    if (info.st_size >= PreferencesFile::maximumSize)
        return QStringLiteral("%1 bytes, more than the %2 a preferences file may hold")
            .arg(info.st_size)
            .arg(PreferencesFile::maximumSize);
    return {};
}

PreferencesFile::Contents refused(const QString& reason)
{
    return {PreferencesFile::Outcome::refused, {}, reason};
}

} // namespace

PreferencesFile::Contents PreferencesFile::read(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    // Looked at before opening: opening a FIFO blocks, and opening a device may act on it.
    // A symbolic link is followed, so a preferences file kept elsewhere still works.
    struct stat info { };
    if (::stat(name.constData(), &info) != 0)
        return {};
    if (const QString reason = refusalOf(info); !reason.isEmpty())
        return refused(reason);

    // O_NONBLOCK: should something else have been put there since, opening it cannot hang.
    const int fd = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    QFile file;
    if (fd < 0 || !file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        if (fd >= 0)
            ::close(fd);
        return {};
    }
    if (::fstat(file.handle(), &info) != 0)
        return {};
    if (const QString reason = refusalOf(info); !reason.isEmpty())
        return refused(reason);

    // The file may have grown since: reading one byte more than allowed tells.
    const QByteArray bytes = file.read(maximumSize + 1);
    if (file.error() != QFileDevice::NoError)
        return {};
    if (bytes.size() > maximumSize)
        return refused(QStringLiteral("more than %1 bytes").arg(maximumSize));
    return {Outcome::read, bytes, {}};
}

} // namespace KeyboardShortcuts
