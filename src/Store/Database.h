#pragma once

#include <QString>
#include <QUuid>

#include <sqlite3.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <unordered_map>

// Thin RAII layer over libsqlite3 for the store's own use. Failures throw StoreError,
// which the public store classes (ModelContainer, ModelContext) catch and turn into a
// message; nothing outside src/Store sees an exception.
namespace Store {

class StoreError : public std::runtime_error {
public:
    explicit StoreError(const QString& message, int code = SQLITE_ERROR)
        : std::runtime_error(message.toStdString()), m_message(message), m_code(code)
    {
    }
    QString message() const { return m_message; }
    // The file or its folder cannot be written, or the disk is full: the store can still
    // be read.
    bool isWriteDenied() const
    {
        const int primary = m_code & 0xff;
        return primary == SQLITE_READONLY || primary == SQLITE_FULL
            || m_code == SQLITE_IOERR_SHMSIZE;
    }

private:
    QString m_message;
    int m_code;
};

struct DatabaseCloser {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct StatementFinalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using DatabaseHandle = std::unique_ptr<sqlite3, DatabaseCloser>;
using StatementHandle = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

// A prepared statement. Parameters are numbered from 1, result columns from 0.
class Statement {
public:
    Statement(sqlite3* database, StatementHandle handle);

    Statement& bind(int index, const QString& value);
    Statement& bind(int index, const std::optional<QString>& value);
    Statement& bind(int index, const QUuid& value);
    Statement& bind(int index, double value);
    Statement& bind(int index, qint64 value);
    Statement& bind(int index, bool value);
    Statement& bindNull(int index);

    // Advances to the next row; false when there is none left.
    bool next();
    // Runs a statement that returns no rows, and makes it ready for the next use.
    void run();
    // Clears parameters and rewinds, so the statement can be used again.
    void reset();

    QString text(int column) const;
    std::optional<QString> optionalText(int column) const;
    QUuid uuid(int column) const;
    double real(int column) const;
    qint64 integer(int column) const;
    bool isNull(int column) const;

private:
    [[noreturn]] void fail() const;

    sqlite3* m_database;
    StatementHandle m_handle;
};

// One connection to the store file.
class Database {
public:
    enum class Access {
        ReadWrite, // creates the file when missing
        // Never writes the file nor creates anything beside it, for a store that cannot be
        // written: its folder or file is read-only, or the disk is full.
        ReadOnly,
    };

    // Opens the file with foreign keys on and a busy timeout, so that other connections
    // and processes writing at the same time are waited for (by SQLite, for up to 5 s),
    // not failed.
    static std::unique_ptr<Database> open(const QString& path, Access access = Access::ReadWrite);

    sqlite3* handle() const { return m_handle.get(); }
    QString path() const { return m_path; }
    Access access() const { return m_access; }

    void execute(const char* sql);
    // A fresh statement; reads use these so that no read stays open once it is done.
    Statement prepare(const char* sql);
    // A statement prepared once per connection, reset and ready; for repeated writes.
    Statement& cached(const char* sql);
    // The first column of the first row (0 when there is none), e.g. a PRAGMA or a COUNT.
    qint64 queryInteger(const char* sql);
    QString queryText(const char* sql);

    QString errorMessage() const;

private:
    Database(DatabaseHandle handle, QString path, Access access);

    DatabaseHandle m_handle;
    QString m_path;
    Access m_access;
    std::unordered_map<const char*, std::unique_ptr<Statement>> m_statements;
};

// BEGIN on construction, ROLLBACK on destruction unless commit() succeeded.
class Transaction {
public:
    // Exclusive keeps readers out too, e.g. while the schema changes.
    enum class Kind { Read, Write, Exclusive };
    Transaction(Database& database, Kind kind);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

private:
    Database& m_database;
    bool m_open = true;
};

} // namespace Store
