#pragma once

#include "Models/Workspace.h"

#include <QList>
#include <QUuid>

namespace Store {

class Database;

// Writes one save inside the caller's transaction: only the rows that differ from what the
// file holds. Throws StoreError; the caller rolls back.
class RecordWriter {
public:
    explicit RecordWriter(Database& database);

    void deleteWorkspace(const QUuid& id);
    void deleteLayout(const QUuid& id);
    // Writes the workspace if it or one of its apps has unsaved changes.
    void write(const WorkspacePtr& workspace);
    // Deletes the apps and layouts that written lists no longer hold. Runs after every
    // write, so that a record moved to another list is not lost.
    void deleteDroppedRecords();

    // The workspaces written, for marking them saved once the transaction is committed.
    const QList<WorkspacePtr>& written() const { return m_written; }

private:
    void writeWorkspaceRow(const Workspace& workspace);
    void writeApps(const Workspace& workspace);
    void writeAppRow(const AppInfo& app, const QUuid& workspaceId, qint64 position);
    void writeLayouts(const AppInfo& app);
    void writeLayoutRow(const AppLayout& layout, const QUuid& appId, qint64 position);

    struct Dropped {
        QUuid id;
        QUuid owner; // deleted only if it still belongs to this owner
    };

    Database& m_database;
    QList<WorkspacePtr> m_written;
    QList<Dropped> m_droppedApps;
    QList<Dropped> m_droppedLayouts;
};

} // namespace Store
