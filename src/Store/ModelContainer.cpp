#include "Store/ModelContainer.h"

#include "Store/Database.h"
#include "Store/Schema.h"
#include "Util/Logging.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Store;

namespace {

constexpr mode_t privateFileMode = 0600;

// The store holds what the user works on: only the user may read it. SQLite gives the
// -wal and -shm files the mode of the database file, so creating that one is enough.
void createPrivateFileIfMissing(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    const int fd
        = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, privateFileMode);
    if (fd >= 0) {
        ::close(fd);
        return;
    }
    if (errno != EEXIST)
        throw StoreError(QString::fromLocal8Bit(std::strerror(errno)));
}

void makePrivate(const QString& path)
{
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const QByteArray name = QFile::encodeName(path) + suffix;
        struct stat status { };
        if (::stat(name.constData(), &status) == 0 && S_ISREG(status.st_mode)
            && (status.st_mode & 0777) != privateFileMode)
            ::chmod(name.constData(), privateFileMode);
    }
}

} // namespace

ModelContainer::ModelContainer(QString path, std::unique_ptr<ModelContext> mainContext)
    : m_path(std::move(path)), m_mainContext(std::move(mainContext))
{
}

ModelContainer::~ModelContainer() = default;

std::unique_ptr<ModelContainer> ModelContainer::open(const QString& path, QString* error)
{
    try {
        createPrivateFileIfMissing(path);
        auto database = Database::open(path);
        Schema::migrate(*database);
        makePrivate(path);
        std::unique_ptr<ModelContext> mainContext(new ModelContext(std::move(database)));
        return std::unique_ptr<ModelContainer>(new ModelContainer(path, std::move(mainContext)));
    } catch (const StoreError& failure) {
        if (error)
            *error = failure.message();
        return nullptr;
    }
}

std::unique_ptr<ModelContainer> ModelContainer::openOrStop(const QString& path)
{
    QString error;
    auto container = open(path, &error);
    if (!container)
        qFatal(
            "Vantor cannot open its workspace store %s: %s", qPrintable(path), qPrintable(error));
    return container;
}

std::unique_ptr<ModelContext> ModelContainer::makeContext() const
{
    try {
        return std::unique_ptr<ModelContext>(new ModelContext(Database::open(m_path)));
    } catch (const StoreError& failure) {
        qFatal("Vantor cannot open another connection to its workspace store %s: %s",
            qPrintable(m_path), qPrintable(failure.message()));
    }
}

QString defaultStoreURL(const QString& databaseName)
{
    const QString directory = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (directory.isEmpty() || !QDir().mkpath(directory))
        qFatal("Vantor finds no data directory for its workspace store (%s)",
            qPrintable(directory.isEmpty() ? QStringLiteral("none known") : directory));
    return QDir(directory).filePath(databaseName);
}

ModelContainer& sharedModelContainer()
{
    static const std::unique_ptr<ModelContainer> container
        = ModelContainer::openOrStop(defaultStoreURL(QStringLiteral("Vantor.sqlite")));
    return *container;
}
