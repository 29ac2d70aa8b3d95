#pragma once

#include "Models/Workspace.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>
#include <span>

namespace Store {

class Database;

// The saved state of the records, as read from the file.
struct LayoutRow {
    QUuid id;
    double screenWidth = 0;
    double screenHeight = 0;
    double positionX = 0;
    double positionY = 0;
    double width = 0;
    double height = 0;
};

struct AppRow {
    QUuid id;
    QString name;
    std::optional<QString> bundleIdentifier;
    bool isRunning = false;
    QString path;
    std::span<const LayoutRow> layouts; // in stored order
};

struct WorkspaceRow {
    QUuid id;
    QString name;
    QDateTime updatedAt;
    std::optional<QString> shortcut;
    std::optional<QString> notes;
    std::span<const AppRow> apps; // in stored order
};

// The rows of one read. The spans point into the lists here, so they live as long as this.
struct StoredRecords {
    QList<WorkspaceRow> workspaces; // in store order
    QList<AppRow> apps;
    QList<LayoutRow> layouts;
};

// Which workspaces a fetch asks for.
struct WorkspaceFilter {
    enum class Kind { All, Id, Name };
    Kind kind = Kind::All;
    QUuid id;
    QString name; // exact and case-sensitive

    static WorkspaceFilter all() { return {}; }
    static WorkspaceFilter byId(const QUuid& id) { return {Kind::Id, id, {}}; }
    static WorkspaceFilter byName(const QString& name) { return {Kind::Name, {}, name}; }

    bool matches(const Workspace& workspace) const;
};

// Reads the matching workspaces with their apps and layouts, all from one snapshot of the
// file. Throws StoreError.
StoredRecords readWorkspaces(Database& database, const WorkspaceFilter& filter);

// updatedAt is kept as milliseconds since the epoch (NULL for an invalid time) and read
// back in local time.
std::optional<qint64> storedTime(const QDateTime& time);

} // namespace Store
