#include "KeyboardShortcuts/PreferencesFile.h"

#include <QFile>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KeyboardShortcuts {
namespace {

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : m_fd(fd) { }
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int get() const { return m_fd; }
    bool isValid() const { return m_fd >= 0; }

private:
    int m_fd;
};

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
    const FileDescriptor file(
        ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.isValid())
        return {};
    if (::fstat(file.get(), &info) != 0)
        return {};
    if (const QString reason = refusalOf(info); !reason.isEmpty())
        return refused(reason);

    // The file may have grown since: reading one byte more than allowed tells.
    const qsizetype limit = static_cast<qsizetype>(maximumSize) + 1;
    QByteArray bytes(std::min(static_cast<qsizetype>(info.st_size) + 1, limit), Qt::Uninitialized);
    qsizetype total = 0;
    for (;;) {
        if (total == bytes.size()) {
            if (bytes.size() == limit)
                break;
            bytes.resize(std::min(bytes.size() * 2, limit));
        }
        const ssize_t count
            = ::read(file.get(), bytes.data() + total, static_cast<size_t>(bytes.size() - total));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return {};
        if (count == 0)
            break;
        total += count;
    }
    if (total > maximumSize)
        return refused(QStringLiteral("more than %1 bytes").arg(maximumSize));
    bytes.truncate(total);
    return {Outcome::read, bytes, {}};
}

} // namespace KeyboardShortcuts
