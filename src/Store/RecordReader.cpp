#include "Store/RecordReader.h"

#include "Store/Database.h"

#include <QHash>

#include <array>

namespace Store {
namespace {

// One query per record type and filter kind, indexed by WorkspaceFilter::Kind.
constexpr std::array workspaceQueries{
    "SELECT id, name, updated_at, shortcut, notes FROM workspace ORDER BY position, rowid",
    "SELECT id, name, updated_at, shortcut, notes FROM workspace WHERE id = ?1 "
    "ORDER BY position, rowid",
    "SELECT id, name, updated_at, shortcut, notes FROM workspace WHERE name = ?1 "
    "ORDER BY position, rowid",
};

constexpr std::array appQueries{
    "SELECT id, workspace_id, name, bundle_identifier, is_running, path FROM app_info "
    "WHERE workspace_id IS NOT NULL ORDER BY workspace_id, position, rowid",
    "SELECT id, workspace_id, name, bundle_identifier, is_running, path FROM app_info "
    "WHERE workspace_id = ?1 ORDER BY position, rowid",
    "SELECT id, workspace_id, name, bundle_identifier, is_running, path FROM app_info "
    "WHERE workspace_id IN (SELECT id FROM workspace WHERE name = ?1) "
    "ORDER BY workspace_id, position, rowid",
};

constexpr std::array layoutQueries{
    "SELECT id, app_id, screen_width, screen_height, position_x, position_y, width, height "
    "FROM app_layout WHERE app_id IS NOT NULL ORDER BY app_id, position, rowid",
    "SELECT l.id, l.app_id, l.screen_width, l.screen_height, l.position_x, l.position_y, "
    "l.width, l.height FROM app_layout l JOIN app_info a ON a.id = l.app_id "
    "WHERE a.workspace_id = ?1 ORDER BY l.app_id, l.position, l.rowid",
    "SELECT l.id, l.app_id, l.screen_width, l.screen_height, l.position_x, l.position_y, "
    "l.width, l.height FROM app_layout l JOIN app_info a ON a.id = l.app_id "
    "WHERE a.workspace_id IN (SELECT id FROM workspace WHERE name = ?1) "
    "ORDER BY l.app_id, l.position, l.rowid",
};

Statement query(
    Database& database, const std::array<const char*, 3>& queries, const WorkspaceFilter& filter)
{
    Statement statement = database.prepare(queries.at(size_t(filter.kind)));
    if (filter.kind != WorkspaceFilter::Kind::All)
        statement.bind(1, filter.value);
    return statement;
}

QDateTime timeFromStore(const Statement& statement, int column)
{
    if (statement.isNull(column))
        return {};
    return QDateTime::fromMSecsSinceEpoch(statement.integer(column));
}

QList<WorkspaceRow> readWorkspaceRows(Database& database, const WorkspaceFilter& filter)
{
    QList<WorkspaceRow> rows;
    Statement statement = query(database, workspaceQueries, filter);
    while (statement.next()) {
        rows.append({statement.uuid(0), statement.text(1), timeFromStore(statement, 2),
            statement.optionalText(3), statement.optionalText(4), {}});
    }
    return rows;
}

QHash<QUuid, QList<AppRow>> readAppRows(Database& database, const WorkspaceFilter& filter)
{
    QHash<QUuid, QList<AppRow>> appsByWorkspace;
    Statement statement = query(database, appQueries, filter);
    while (statement.next()) {
        appsByWorkspace[statement.uuid(1)].append({statement.uuid(0), statement.text(2),
            statement.optionalText(3), statement.integer(4) != 0, statement.text(5), {}});
    }
    return appsByWorkspace;
}

QHash<QUuid, QList<LayoutRow>> readLayoutRows(Database& database, const WorkspaceFilter& filter)
{
    QHash<QUuid, QList<LayoutRow>> layoutsByApp;
    Statement statement = query(database, layoutQueries, filter);
    while (statement.next()) {
        layoutsByApp[statement.uuid(1)].append(
            {statement.uuid(0), statement.real(2), statement.real(3), statement.real(4),
                statement.real(5), statement.real(6), statement.real(7)});
    }
    return layoutsByApp;
}

} // namespace

bool WorkspaceFilter::matches(const Workspace& workspace) const
{
    switch (kind) {
    case Kind::All:
        return true;
    case Kind::Id:
        return workspace.id().toString(QUuid::WithoutBraces) == value;
    case Kind::Name:
        return workspace.name() == value;
    }
    return false;
}

std::optional<qint64> storedTime(const QDateTime& time)
{
    if (!time.isValid())
        return std::nullopt;
    return time.toMSecsSinceEpoch();
}

QList<WorkspaceRow> readWorkspaces(Database& database, const WorkspaceFilter& filter)
{
    Transaction snapshot(database, Transaction::Kind::Read);
    QList<WorkspaceRow> workspaces = readWorkspaceRows(database, filter);
    QHash<QUuid, QList<AppRow>> appsByWorkspace = readAppRows(database, filter);
    QHash<QUuid, QList<LayoutRow>> layoutsByApp = readLayoutRows(database, filter);
    snapshot.commit();

    for (WorkspaceRow& workspace : workspaces) {
        workspace.apps = appsByWorkspace.take(workspace.id);
        for (AppRow& app : workspace.apps)
            app.layouts = layoutsByApp.take(app.id);
    }
    return workspaces;
}

} // namespace Store
