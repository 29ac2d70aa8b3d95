#pragma once

namespace Store {

class Database;

// The tables of "Vantor.sqlite" and their upgrades, versioned by PRAGMA user_version.
namespace Schema {

// The version this build writes. Files of an older version are upgraded one step per
// version; a newer file is refused, so that an older Vantor never damages it.
int currentVersion();

enum class State {
    Current, // this version, in WAL mode
    NeedsWal, // this version, with a rollback journal: readable, but needs upgrade() to write
    NeedsUpgrade, // an older version, or a new empty file
};

// Reads the file's version and journal mode, writing nothing. Throws StoreError when the
// file is not a database, is newer than this build, or is another program's database
// (tables of its own and no Vantor schema version).
State inspect(Database& database);

// Brings the file up to currentVersion() in WAL mode. Takes the file for itself first,
// waiting for other connections by SQLite's busy timeout, and keeps it until the
// connection is closed: use a connection of its own, and close it afterwards. Throws
// StoreError when the file is damaged, newer or another program's; then nothing has been
// written to it.
void upgrade(Database& database);

} // namespace Schema
} // namespace Store
