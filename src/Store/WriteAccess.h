#pragma once

#include <QString>

#include <optional>

namespace Store {

// Why this process cannot write the store at `path`, or nothing when it can: its folder or
// the file itself is read-only for this user, or the disk is (nearly) full. Asked before
// opening, so that a store that can only be read is opened for reading without SQLite
// leaving -wal or -shm files behind.
std::optional<QString> whyNotWritable(const QString& path);

} // namespace Store
