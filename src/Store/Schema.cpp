#include "Store/Schema.h"

#include "Store/Database.h"
#include "Util/Logging.h"

#include <array>

namespace Store::Schema {
namespace {

// Version 1: the three records. Lists keep their order in `position`; apps cascade with
// their workspace and layouts with their app.
void createRecords(Database& database)
{
    database.execute(R"sql(
        CREATE TABLE workspace (
            id BLOB PRIMARY KEY NOT NULL,
            position INTEGER NOT NULL,
            name TEXT NOT NULL,
            updated_at INTEGER,
            shortcut TEXT,
            notes TEXT
        );
        CREATE INDEX workspace_by_position ON workspace (position);
        CREATE INDEX workspace_by_name ON workspace (name);

        CREATE TABLE app_info (
            id BLOB PRIMARY KEY NOT NULL,
            workspace_id BLOB REFERENCES workspace (id) ON DELETE CASCADE,
            position INTEGER NOT NULL,
            name TEXT NOT NULL,
            bundle_identifier TEXT,
            is_running INTEGER NOT NULL,
            path TEXT NOT NULL
        );
        -- Covering: a fetch reads apps and layouts from these indexes alone, in list order.
        CREATE INDEX app_info_by_workspace ON app_info (workspace_id, position, id, name,
            bundle_identifier, is_running, path);

        CREATE TABLE app_layout (
            id BLOB PRIMARY KEY NOT NULL,
            app_id BLOB REFERENCES app_info (id) ON DELETE CASCADE,
            position INTEGER NOT NULL,
            screen_width REAL NOT NULL,
            screen_height REAL NOT NULL,
            position_x REAL NOT NULL,
            position_y REAL NOT NULL,
            width REAL NOT NULL,
            height REAL NOT NULL
        );
        CREATE INDEX app_layout_by_app ON app_layout (app_id, position, id, screen_width,
            screen_height, position_x, position_y, width, height);
    )sql");
}

using Step = void (*)(Database&);
// Step i upgrades version i to version i + 1. Append new steps; never change old ones.
constexpr std::array<Step, 1> steps{createRecords};

qint64 versionOf(Database& database)
{
    return database.queryInteger("PRAGMA user_version");
}

bool isInWal(Database& database)
{
    return database.queryText("PRAGMA journal_mode") == QLatin1String("wal");
}

// A file Vantor did not make, e.g. another program's database at the store's path, is
// never written into: version 0 is only ever an empty file.
void refuseForeign(Database& database, qint64 version)
{
    if (version != 0)
        return;
    const QString tables = database.queryText(
        "SELECT group_concat(name, ', ') FROM (SELECT name FROM sqlite_master"
        " WHERE name NOT LIKE 'sqlite\\_%' ESCAPE '\\' ORDER BY name LIMIT 5)");
    if (!tables.isEmpty())
        throw StoreError(QStringLiteral("not a Vantor store: it holds other tables (%1) and "
                                        "no Vantor schema version")
                             .arg(tables));
}

// The first read: a file that is not a database fails here, before anything is written.
qint64 usableVersion(Database& database)
{
    const qint64 version = versionOf(database);
    if (version > currentVersion())
        throw StoreError(QStringLiteral("cannot migrate schema version %1: this Vantor knows "
                                        "versions up to %2")
                             .arg(version)
                             .arg(currentVersion()));
    if (version < 0)
        throw StoreError(QStringLiteral("invalid schema version %1").arg(version));
    refuseForeign(database, version);
    return version;
}

// Run before the first write into a file that was not written by this schema and journal
// mode: a damaged file is refused rather than written into.
void refuseDamaged(Database& database)
{
    QString verdict = database.queryText("PRAGMA quick_check(1)");
    if (verdict != QLatin1String("ok"))
        throw StoreError(QStringLiteral("database disk image is malformed (%1)")
                             .arg(verdict.replace(QLatin1Char('\n'), QLatin1String("; "))));
}

} // namespace

int currentVersion()
{
    return int(steps.size());
}

State inspect(Database& database)
{
    // One snapshot: an upgrade committed between reading the version and the tables
    // would otherwise look like another program's database.
    Transaction snapshot(database, Transaction::Kind::Read);
    const qint64 version = usableVersion(database);
    if (version < currentVersion())
        return State::NeedsUpgrade;
    return isInWal(database) ? State::Current : State::NeedsWal;
}

void upgrade(Database& database)
{
    // Taken in the normal locking mode: on a file that another process has meanwhile
    // switched to WAL this waits for its writer only, not for its readers to go.
    Transaction transaction(database, Transaction::Kind::Exclusive);
    // Another process may have upgraded the file while this one waited for the lock.
    const qint64 version = usableVersion(database);
    const bool inWal = isInWal(database);
    if (inWal && version == currentVersion())
        return;
    refuseDamaged(database);
    // Keeps the lock past COMMIT, so that the journal mode can be switched with no reader
    // in the way: SQLite does not wait for readers there, as it would risk a deadlock.
    if (!inWal)
        database.execute("PRAGMA locking_mode = EXCLUSIVE");
    for (auto step = version; step < currentVersion(); ++step) {
        qCInfo(lcStore) << "Upgrading" << database.path() << "to schema version" << step + 1;
        steps.at(size_t(step))(database);
    }
    database.execute(
        QByteArray("PRAGMA user_version = " + QByteArray::number(currentVersion())).constData());
    transaction.commit();
    if (!inWal)
        database.execute("PRAGMA journal_mode = WAL");
}

} // namespace Store::Schema
