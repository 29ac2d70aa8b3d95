#pragma once

#include "Models/Workspace.h"

#include <QList>
#include <QUuid>

namespace Store {

class Database;
class IdentityMap;

// Writes one save inside the caller's transaction: only rows that differ from what the
// identity map knows to be saved. Throws StoreError; the caller rolls back.
class RecordWriter {
public:
    RecordWriter(Database& database, const IdentityMap& identities);

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

    struct KeptList {
        QUuid owner;
        QList<QUuid> members;
    };

    Database& m_database;
    const IdentityMap& m_identities;
    QList<WorkspacePtr> m_written;
    QList<KeptList> m_appLists; // workspace -> apps it now holds
    QList<KeptList> m_layoutLists; // app -> layouts it now holds
};

} // namespace Store
