#include "Store/ModelContainer.h"

#include "Store/Database.h"
#include "Store/Schema.h"
#include "Store/WriteAccess.h"
#include "Util/Logging.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Store;

namespace {

constexpr mode_t privateFileMode = 0600;

// The store holds what the user works on: only the user may read it. SQLite gives the
// -wal and -shm files the mode of the database file, so creating that one is enough.
// True when this call created it.
bool createPrivateFileIfMissing(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    const int fd
        = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, privateFileMode);
    if (fd >= 0) {
        ::close(fd);
        return true;
    }
    if (errno != EEXIST)
        throw StoreError(QString::fromLocal8Bit(std::strerror(errno)));
    return false;
}

// Only ever takes rights away from others: a file the user made read-only stays so.
void keepPrivate(const QString& path)
{
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const QByteArray name = QFile::encodeName(path) + suffix;
        struct stat status { };
        if (::stat(name.constData(), &status) == 0 && S_ISREG(status.st_mode)
            && (status.st_mode & 077) != 0)
            ::chmod(name.constData(), status.st_mode & 0700);
    }
}

std::unique_ptr<Database> openWritable(const QString& path)
{
    const bool created = createPrivateFileIfMissing(path);
    try {
        auto database = Database::open(path);
        if (Schema::inspect(*database) != Schema::State::Current) {
            database.reset();
            Schema::upgrade(*Database::open(path));
            database = Database::open(path);
        }
        keepPrivate(path);
        return database;
    } catch (const StoreError&) {
        // Leave no empty file behind where there was none.
        if (created && QFileInfo(path).size() == 0)
            QFile::remove(path);
        throw;
    }
}

std::unique_ptr<Database> openReadOnly(const QString& path, const QString& readOnlyReason)
{
    if (!QFileInfo::exists(path))
        throw StoreError(readOnlyReason + QStringLiteral(", and there is no store there yet"));
    auto database = Database::open(path, Database::Access::ReadOnly);
    if (Schema::inspect(*database) == Schema::State::NeedsUpgrade)
        throw StoreError(readOnlyReason
            + QStringLiteral(", so it cannot be brought up to schema version %1")
                  .arg(Schema::currentVersion()));
    return database;
}

} // namespace

ModelContainer::ModelContainer(QString path, std::optional<QString> readOnlyReason,
    std::unique_ptr<ModelContext> mainContext)
    : m_path(std::move(path)),
      m_readOnlyReason(std::move(readOnlyReason)),
      m_mainContext(std::move(mainContext))
{
}

ModelContainer::~ModelContainer() = default;

std::unique_ptr<ModelContainer> ModelContainer::open(const QString& path, QString* error)
{
    try {
        std::optional<QString> readOnlyReason = whyNotWritable(path);
        std::unique_ptr<Database> database;
        if (!readOnlyReason) {
            try {
                database = openWritable(path);
            } catch (const StoreError& failure) {
                if (!failure.isWriteDenied())
                    throw;
                readOnlyReason = failure.message();
            }
        }
        if (readOnlyReason) {
            qCInfo(lcStore) << "Opening" << path << "for reading only:" << *readOnlyReason;
            database = openReadOnly(path, *readOnlyReason);
        }
        std::unique_ptr<ModelContext> mainContext(
            new ModelContext(std::move(database), readOnlyReason));
        return std::unique_ptr<ModelContainer>(
            new ModelContainer(path, std::move(readOnlyReason), std::move(mainContext)));
    } catch (const StoreError& failure) {
        if (error)
            *error = failure.message();
        return nullptr;
    }
}

QString ModelContainer::openFailureMessage(const QString& path, const QString& reason)
{
    return QStringLiteral("Vantor cannot open its workspace store %1: %2").arg(path, reason);
}

std::unique_ptr<ModelContext> ModelContainer::makeContext(QString* error) const
{
    try {
        const auto access
            = m_readOnlyReason ? Database::Access::ReadOnly : Database::Access::ReadWrite;
        return std::unique_ptr<ModelContext>(
            new ModelContext(Database::open(m_path, access), m_readOnlyReason));
    } catch (const StoreError& failure) {
        if (error)
            *error = openFailureMessage(m_path, failure.message());
        return nullptr;
    }
}

StoreResult<QString> defaultStoreURL(const QString& databaseName)
{
    const QString directory = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (directory.isEmpty())
        return {{}, QStringLiteral("Vantor finds no data directory for its workspace store")};
    if (!QDir().mkpath(directory))
        return {{},
            QStringLiteral("Vantor cannot create %1, the data directory for its workspace store")
                .arg(directory)};
    return {QDir(directory).filePath(databaseName), std::nullopt};
}

const StoreResult<ModelContainer*>& openSharedModelContainer()
{
    static std::unique_ptr<ModelContainer> container;
    static const StoreResult<ModelContainer*> opened = []() -> StoreResult<ModelContainer*> {
        const auto location = defaultStoreURL(QStringLiteral("Vantor.sqlite"));
        if (!location.ok())
            return {nullptr, location.error};
        QString reason;
        container = ModelContainer::open(location.value, &reason);
        if (!container)
            return {nullptr, ModelContainer::openFailureMessage(location.value, reason)};
        return {container.get(), std::nullopt};
    }();
    return opened;
}

ModelContainer& sharedModelContainer()
{
    const auto& opened = openSharedModelContainer();
    if (!opened.ok()) {
        std::fprintf(stderr, "vantor: %s\n", opened.error->toUtf8().constData());
        std::exit(1);
    }
    return *opened.value;
}
