#include "Store/Database.h"

#include <QFile>
#include <QFileInfo>
#include <QUrl>

namespace Store {
namespace {

// Long enough for another Vantor process to finish a save; saves take milliseconds.
constexpr int busyTimeoutMs = 5000;

QString messageOf(sqlite3* database)
{
    return QString::fromUtf8(sqlite3_errmsg(database));
}

// SQLite's own words, led by what they mean for the user where that is not plain.
StoreError errorOf(sqlite3* database)
{
    const int code = sqlite3_extended_errcode(database);
    const QString message = messageOf(database);
    if ((code & 0xff) == SQLITE_FULL)
        return StoreError(QStringLiteral("disk full (%1)").arg(message), code);
    if ((code & 0xff) == SQLITE_READONLY)
        return StoreError(QStringLiteral("the store file is read-only (%1)").arg(message), code);
    return StoreError(message, code);
}

// A read-only connection to a file in WAL mode needs the -shm file, which it can neither
// create in a read-only folder nor grow on a full disk. Without a write-ahead log to read
// (the last writer closed cleanly), the file alone holds everything: open it as immutable,
// which creates no file and takes no lock. With a log, only SQLite can read it.
QByteArray readOnlyName(const QString& path, int* flags)
{
    const QFileInfo wal(path + QStringLiteral("-wal"));
    if (wal.exists() && wal.size() > 0)
        return QFile::encodeName(path);
    *flags |= SQLITE_OPEN_URI;
    return QUrl::fromLocalFile(path).toEncoded() + "?immutable=1";
}

} // namespace

Statement::Statement(sqlite3* database, StatementHandle handle)
    : m_database(database), m_handle(std::move(handle))
{
}

void Statement::fail() const
{
    throw errorOf(m_database);
}

Statement& Statement::bind(int index, const QString& value)
{
    const QByteArray bytes = value.toUtf8();
    if (sqlite3_bind_text(
            m_handle.get(), index, bytes.constData(), int(bytes.size()), SQLITE_TRANSIENT)
        != SQLITE_OK)
        fail();
    return *this;
}

Statement& Statement::bind(int index, const std::optional<QString>& value)
{
    return value ? bind(index, *value) : bindNull(index);
}

// Ids are stored as their 16 bytes in RFC 4122 order: a quarter of the work of parsing text.
Statement& Statement::bind(int index, const QUuid& value)
{
    const QByteArray bytes = value.toRfc4122();
    if (sqlite3_bind_blob(
            m_handle.get(), index, bytes.constData(), int(bytes.size()), SQLITE_TRANSIENT)
        != SQLITE_OK)
        fail();
    return *this;
}

Statement& Statement::bind(int index, double value)
{
    if (sqlite3_bind_double(m_handle.get(), index, value) != SQLITE_OK)
        fail();
    return *this;
}

Statement& Statement::bind(int index, qint64 value)
{
    if (sqlite3_bind_int64(m_handle.get(), index, value) != SQLITE_OK)
        fail();
    return *this;
}

Statement& Statement::bind(int index, bool value)
{
    return bind(index, qint64(value ? 1 : 0));
}

Statement& Statement::bindNull(int index)
{
    if (sqlite3_bind_null(m_handle.get(), index) != SQLITE_OK)
        fail();
    return *this;
}

bool Statement::next()
{
    const int result = sqlite3_step(m_handle.get());
    if (result == SQLITE_ROW)
        return true;
    if (result == SQLITE_DONE)
        return false;
    fail();
}

void Statement::run()
{
    const int result = sqlite3_step(m_handle.get());
    if (result != SQLITE_DONE && result != SQLITE_ROW) {
        const StoreError error = errorOf(m_database);
        reset();
        throw error;
    }
    reset();
}

void Statement::reset()
{
    sqlite3_reset(m_handle.get());
    sqlite3_clear_bindings(m_handle.get());
}

QString Statement::text(int column) const
{
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(m_handle.get(), column));
    return QString::fromUtf8(data, sqlite3_column_bytes(m_handle.get(), column));
}

std::optional<QString> Statement::optionalText(int column) const
{
    if (isNull(column))
        return std::nullopt;
    return text(column);
}

QUuid Statement::uuid(int column) const
{
    const auto* data = static_cast<const char*>(sqlite3_column_blob(m_handle.get(), column));
    const int size = sqlite3_column_bytes(m_handle.get(), column);
    if (size != 16)
        return {};
    return QUuid::fromRfc4122(QByteArrayView(data, size));
}

double Statement::real(int column) const
{
    return sqlite3_column_double(m_handle.get(), column);
}

qint64 Statement::integer(int column) const
{
    return sqlite3_column_int64(m_handle.get(), column);
}

bool Statement::isNull(int column) const
{
    return sqlite3_column_type(m_handle.get(), column) == SQLITE_NULL;
}

Database::Database(DatabaseHandle handle, QString path, Access access)
    : m_handle(std::move(handle)), m_path(std::move(path)), m_access(access)
{
}

std::unique_ptr<Database> Database::open(const QString& path, Access access)
{
    // NOMUTEX: a connection belongs to one context, which is used on one thread only.
    int flags = SQLITE_OPEN_NOMUTEX;
    QByteArray name;
    if (access == Access::ReadWrite) {
        flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
        name = QFile::encodeName(path);
    } else {
        flags |= SQLITE_OPEN_READONLY;
        name = readOnlyName(path, &flags);
    }
    sqlite3* raw = nullptr;
    const int result = sqlite3_open_v2(name.constData(), &raw, flags, nullptr);
    DatabaseHandle handle(raw);
    if (result != SQLITE_OK)
        throw StoreError(
            handle ? messageOf(handle.get()) : QString::fromUtf8(sqlite3_errstr(result)), result);
    sqlite3_extended_result_codes(handle.get(), 1);
    sqlite3_busy_timeout(handle.get(), busyTimeoutMs);
    std::unique_ptr<Database> database(new Database(std::move(handle), path, access));
    // Connection settings only: none of these reads or writes the file.
    database->execute("PRAGMA foreign_keys = ON");
    database->execute("PRAGMA synchronous = NORMAL");
    return database;
}

void Database::execute(const char* sql)
{
    if (sqlite3_exec(m_handle.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw errorOf(m_handle.get());
}

Statement Database::prepare(const char* sql)
{
    sqlite3_stmt* raw = nullptr;
    const int result = sqlite3_prepare_v2(m_handle.get(), sql, -1, &raw, nullptr);
    StatementHandle handle(raw);
    if (result != SQLITE_OK)
        throw errorOf(m_handle.get());
    return Statement(m_handle.get(), std::move(handle));
}

Statement& Database::cached(const char* sql)
{
    auto found = m_statements.find(sql);
    if (found == m_statements.end())
        found = m_statements.emplace(sql, std::make_unique<Statement>(prepare(sql))).first;
    found->second->reset();
    return *found->second;
}

qint64 Database::queryInteger(const char* sql)
{
    Statement statement = prepare(sql);
    return statement.next() ? statement.integer(0) : 0;
}

QString Database::queryText(const char* sql)
{
    Statement statement = prepare(sql);
    return statement.next() ? statement.text(0) : QString();
}

QString Database::errorMessage() const
{
    return messageOf(m_handle.get());
}

Transaction::Transaction(Database& database, Kind kind) : m_database(database)
{
    // A writer takes the write lock up front, so a busy store is waited for here rather
    // than failing half-way through.
    switch (kind) {
    case Kind::Read:
        m_database.execute("BEGIN DEFERRED");
        break;
    case Kind::Write:
        m_database.execute("BEGIN IMMEDIATE");
        break;
    case Kind::Exclusive:
        m_database.execute("BEGIN EXCLUSIVE");
        break;
    }
}

Transaction::~Transaction()
{
    if (m_open)
        sqlite3_exec(m_database.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit()
{
    m_database.execute("COMMIT");
    m_open = false;
}

} // namespace Store
