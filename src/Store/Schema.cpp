#include "Store/Schema.h"

#include "Store/Database.h"
#include "Util/Logging.h"

#include <QElapsedTimer>

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

void refuseNewer(qint64 version)
{
    if (version > currentVersion())
        throw StoreError(QStringLiteral("cannot migrate schema version %1: this Vantor knows "
                                        "versions up to %2")
                             .arg(version)
                             .arg(currentVersion()));
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

void upgrade(Database& database)
{
    Transaction transaction(database, Transaction::Kind::Write);
    // Another process may have upgraded the file while this one waited for the lock.
    const qint64 version = versionOf(database);
    refuseNewer(version);
    for (auto step = version; step < currentVersion(); ++step) {
        qCInfo(lcStore) << "Upgrading" << database.path() << "to schema version" << step + 1;
        steps.at(size_t(step))(database);
    }
    database.execute(
        QByteArray("PRAGMA user_version = " + QByteArray::number(currentVersion())).constData());
    transaction.commit();
}

void migrateOnce(Database& database)
{
    // The first read: a file that is not a database fails here, before anything is written.
    const qint64 version = versionOf(database);
    refuseNewer(version);
    if (version < 0)
        throw StoreError(QStringLiteral("invalid schema version %1").arg(version));
    const bool inWal = database.queryText("PRAGMA journal_mode") == QLatin1String("wal");
    if (inWal && version == currentVersion())
        return;

    refuseDamaged(database);
    if (!inWal)
        database.execute("PRAGMA journal_mode = WAL");
    if (version < currentVersion())
        upgrade(database);
}

} // namespace

int currentVersion()
{
    return int(steps.size());
}

void migrate(Database& database)
{
    // When several processes open a new or old file at once, switching the journal mode
    // can find the file busy without waiting for it (SQLite refuses to wait where two
    // connections could deadlock). Each step is safe to repeat, so try again shortly.
    constexpr qint64 giveUpAfterMs = 10000;
    QElapsedTimer waited;
    waited.start();
    for (;;) {
        try {
            migrateOnce(database);
            return;
        } catch (const StoreError& error) {
            if (!error.isBusy() || waited.elapsed() > giveUpAfterMs)
                throw;
            qCInfo(lcStore) << "Store busy while opening, trying again:" << error.message();
        }
        sqlite3_sleep(10);
    }
}

} // namespace Store::Schema
