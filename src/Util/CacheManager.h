#pragma once

#include "Models/Workspace.h"

#include <QList>
#include <QString>

class ModelContext;
class WindowManager;

// What the screens use to read and change workspaces. Every operation handles its own
// failures: it prints one console line and yields an empty or absent result. It keeps no
// cache of its own; every fetch goes to the store.
class CacheManager {
public:
    CacheManager(ModelContext& context, const WindowManager& windowManager);

    ModelContext& context() const { return m_context; }

    // Every workspace, in store order; empty when the store cannot be read.
    QList<WorkspacePtr> fetchAllWorkspaces() const;
    // The first workspace named exactly so, or null.
    WorkspacePtr fetchWorkspace(const QString& named) const;

    // Inserts the workspace with its apps and layouts and saves; returns it either way.
    WorkspacePtr createWorkspace(const WorkspacePtr& workspace);
    // Saves a workspace the caller changed. When an app lacks a frame for the current
    // screen, first appends a freshly captured frame to every running app of it.
    void updateWorkspace(const WorkspacePtr& workspace);
    // Marks the workspace's shortcut as removed by the user ("none") and saves.
    void removeWorkspaceShortcut(const WorkspacePtr& workspace);
    // Deletes the first workspace of that name, with its apps and layouts, and saves.
    void deleteWorkspace(const QString& named);

private:
    void captureMissingLayouts(const Workspace& workspace);
    void saveContext(const QString& message);

    ModelContext& m_context;
    const WindowManager& m_windowManager;
};
