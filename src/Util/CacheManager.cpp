#include "Util/CacheManager.h"

#include "Store/ModelContext.h"
#include "Util/Console.h"
#include "Util/WindowManager.h"

#include <algorithm>

CacheManager::CacheManager(ModelContext& context, const WindowManager& windowManager)
    : m_context(context), m_windowManager(windowManager)
{
}

QList<WorkspacePtr> CacheManager::fetchAllWorkspaces() const
{
    auto fetched = m_context.fetchWorkspaces();
    if (!fetched.ok()) {
        Console::print(QStringLiteral("Failed to fetch all Workspaces: ") + *fetched.error);
        return {};
    }
    return fetched.value;
}

WorkspacePtr CacheManager::fetchWorkspace(const QString& named) const
{
    auto fetched = m_context.fetchWorkspaces(named);
    if (!fetched.ok()) {
        Console::print(QStringLiteral("Failed to fetch Workspace: ") + *fetched.error);
        return nullptr;
    }
    return fetched.value.value(0);
}

StoreResult<WorkspacePtr> CacheManager::createWorkspace(const WorkspacePtr& workspace)
{
    m_context.insert(workspace);
    return {workspace,
        saveContext(QStringLiteral("Failed to create workspace: ") + workspace->name())};
}

SaveResult CacheManager::updateWorkspace(const WorkspacePtr& workspace)
{
    if (workspace->hasValueForCurrentScreenSize(m_windowManager.mainScreenSize()))
        return saveContext(QStringLiteral("Failed to update workspace: ") + workspace->name());
    captureMissingLayouts(*workspace);
    return saveContext(
        QStringLiteral("Failed to update workspace layouts: ") + workspace->name());
}

// Appends rather than replaces, also for apps that already have a frame for this screen:
// currentLayout keeps using the earliest one.
void CacheManager::captureMissingLayouts(const Workspace& workspace)
{
    for (const auto& app : workspace.apps()) {
        const auto bundleIdentifier = app->bundleIdentifier();
        if (!bundleIdentifier)
            continue;
        const auto running = m_windowManager.applications().runningApplications();
        const auto match = std::find_if(running.cbegin(), running.cend(),
            [&](const auto& candidate) { return candidate.bundleIdentifier == bundleIdentifier; });
        if (match == running.cend()) {
            Console::print(QStringLiteral("App not running: ") + *bundleIdentifier);
            continue;
        }
        const auto layouts = m_windowManager.getAppLayout(*match);
        if (!layouts.isEmpty())
            app->appendLayout(layouts.first());
    }
}

SaveResult CacheManager::removeWorkspaceShortcut(const WorkspacePtr& workspace)
{
    workspace->setShortcut(QStringLiteral("none"));
    return saveContext(
        QStringLiteral("Failed to update workspace shortcut: ") + workspace->name());
}

SaveResult CacheManager::deleteWorkspace(const QString& named)
{
    const WorkspacePtr workspace = fetchWorkspace(named);
    if (!workspace) {
        const QString line
            = QStringLiteral("No workspace found with name '") + named + QStringLiteral("'");
        Console::print(line);
        return line;
    }
    return deleteWorkspace(workspace);
}

SaveResult CacheManager::deleteWorkspace(const WorkspacePtr& workspace)
{
    m_context.remove(workspace);
    return saveContext(QStringLiteral("Failed to delete workspace: ") + workspace->name());
}

SaveResult CacheManager::saveContext(const QString& message)
{
    const SaveResult error = m_context.save();
    if (error) {
        Console::print(message + QStringLiteral(". Error: ") + *error);
        return error;
    }
    for (const auto& observer : m_saveObservers)
        observer();
    return error;
}

void CacheManager::addSaveObserver(std::function<void()> observer)
{
    m_saveObservers.push_back(std::move(observer));
}
