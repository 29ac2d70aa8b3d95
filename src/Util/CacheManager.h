#pragma once

#include "Models/Workspace.h"
#include "Store/StoreResult.h"

#include <QList>
#include <QString>

#include <functional>
#include <vector>

class ModelContext;
class WindowManager;

// What the screens use to read and change workspaces. Every operation prints its own
// console line on failure and yields an empty or absent result; the writes also return the
// reason, for callers that must tell success from failure (the command line's exit code).
// It keeps no cache of its own; every fetch goes to the store.
class CacheManager {
public:
    CacheManager(ModelContext& context, const WindowManager& windowManager);

    ModelContext& context() const { return m_context; }

    // Every workspace, in store order; empty when the store cannot be read.
    QList<WorkspacePtr> fetchAllWorkspaces() const;
    // The first workspace named exactly so, or null.
    WorkspacePtr fetchWorkspace(const QString& named) const;

    // Inserts the workspace with its apps and layouts and saves; yields it either way.
    StoreResult<WorkspacePtr> createWorkspace(const WorkspacePtr& workspace);
    // Saves a workspace the caller changed. When an app lacks a frame for the current
    // screen, first appends a freshly captured frame to every running app of it.
    SaveResult updateWorkspace(const WorkspacePtr& workspace);
    // Marks the workspace's shortcut as removed by the user ("none") and saves.
    SaveResult removeWorkspaceShortcut(const WorkspacePtr& workspace);
    // Deletes the first workspace of that name, with its apps and layouts, and saves.
    SaveResult deleteWorkspace(const QString& named);
    // Deletes exactly this workspace, with its apps and layouts, and saves.
    SaveResult deleteWorkspace(const WorkspacePtr& workspace);

    // Called after every successful save through this manager, so that lists of the
    // workspaces can be read again.
    void addSaveObserver(std::function<void()> observer);

private:
    void captureMissingLayouts(const Workspace& workspace);
    SaveResult saveContext(const QString& message);

    ModelContext& m_context;
    const WindowManager& m_windowManager;
    std::vector<std::function<void()>> m_saveObservers;
};
