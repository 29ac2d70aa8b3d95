#pragma once

namespace Store {

class Database;

// The tables of "Vantor.sqlite" and their upgrades, versioned by PRAGMA user_version.
namespace Schema {

// The version this build writes. Files of an older version are upgraded one step per
// version; a newer file is refused, so that an older Vantor never damages it.
int currentVersion();

// Brings the file up to currentVersion() in one transaction. Throws StoreError when the
// file is not a database, is unreadable, or is newer than this build; in those cases
// nothing has been written to it.
void migrate(Database& database);

} // namespace Schema
} // namespace Store
