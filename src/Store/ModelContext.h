#pragma once

#include "Models/Workspace.h"
#include "Store/StoreResult.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QUuid>

#include <memory>
#include <optional>

namespace Store {
class Database;
class IdentityMap;
struct WorkspaceFilter;
} // namespace Store

// A unit of work on the workspace store, with its own connection to the file. Use it on
// one thread only (the main thread).
//
//   insert(workspace)      the workspace, its apps and their layouts become persistent
//                          with the next save
//   remove(workspace)      deletes it with its apps and their layouts at the next save
//   remove(layout)         detaches the layout from its app and deletes it at the next save
//   save()                 writes every change since the last save in one transaction;
//                          the error text on failure, and then the changes stay pending;
//                          on a store that can only be read, fails without trying
//   fetchWorkspaces()      every workspace, in store order (the order they were inserted)
//   fetchWorkspaces(name)  those named exactly so (case-sensitive), in store order
//   fetchWorkspace(id)     the one with that id, or null
//
// Records keep their identity: fetching the same id again yields the same object. A fetch
// reads what is saved in the file (by any context or process) and applies it to records
// without unsaved changes; records with unsaved changes keep them. It leaves out workspaces
// removed here but not yet saved and adds, after the saved ones, workspaces inserted here
// but not yet saved. Another context sees this one's changes only once they are saved.
//
// Changes are found through the records' changed flags: a save writes only the records
// that changed, and an app list or layout list that no longer holds a record deletes it.
class ModelContext {
public:
    ~ModelContext();
    ModelContext(const ModelContext&) = delete;
    ModelContext& operator=(const ModelContext&) = delete;

    void insert(const WorkspacePtr& workspace);
    void remove(const WorkspacePtr& workspace);
    void remove(const AppLayoutPtr& layout);

    bool hasChanges() const;
    SaveResult save();

    FetchResult<QList<WorkspacePtr>> fetchWorkspaces();
    FetchResult<QList<WorkspacePtr>> fetchWorkspaces(const QString& named);
    FetchResult<WorkspacePtr> fetchWorkspace(const QUuid& id);

    // The file this context works on.
    QString path() const;
    // A number that changes whenever another connection (another context or process)
    // commits to the file; nothing when it cannot be read.
    std::optional<qint64> foreignChangeCount();

private:
    friend class ModelContainer;
    ModelContext(
        std::unique_ptr<Store::Database> database, std::optional<QString> readOnlyReason);

    FetchResult<QList<WorkspacePtr>> fetch(const Store::WorkspaceFilter& filter);
    void writeChanges();
    void clearPending();

    std::unique_ptr<Store::Database> m_database;
    std::optional<QString> m_readOnlyReason;
    std::unique_ptr<Store::IdentityMap> m_identities;
    QList<WorkspacePtr> m_inserted; // not yet saved, in insertion order
    QHash<QUuid, WorkspacePtr> m_removed; // not yet deleted from the file
    QList<AppLayoutPtr> m_removedLayouts; // not yet deleted from the file
};
