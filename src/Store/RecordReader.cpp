#include "Store/RecordReader.h"

#include "Store/Database.h"

#include <QHash>

#include <array>

namespace Store {
namespace {

// One query per record type and filter kind, indexed by WorkspaceFilter::Kind. Apps and
// layouts come grouped by their owner and in list order, straight from the covering
// indexes app_info_by_workspace and app_layout_by_app; the owner is the first column.
constexpr std::array workspaceQueries{
    "SELECT id, name, updated_at, shortcut, notes FROM workspace ORDER BY position, rowid",
    "SELECT id, name, updated_at, shortcut, notes FROM workspace WHERE id = ?1 "
    "ORDER BY position, rowid",
    "SELECT id, name, updated_at, shortcut, notes FROM workspace WHERE name = ?1 "
    "ORDER BY position, rowid",
};

constexpr std::array appQueries{
    "SELECT workspace_id, id, name, bundle_identifier, is_running, path FROM app_info "
    "WHERE workspace_id IS NOT NULL ORDER BY workspace_id, position",
    "SELECT workspace_id, id, name, bundle_identifier, is_running, path FROM app_info "
    "WHERE workspace_id = ?1 ORDER BY workspace_id, position",
    "SELECT workspace_id, id, name, bundle_identifier, is_running, path FROM app_info "
    "WHERE workspace_id IN (SELECT id FROM workspace WHERE name = ?1) "
    "ORDER BY workspace_id, position",
};

constexpr std::array layoutQueries{
    "SELECT app_id, id, screen_width, screen_height, position_x, position_y, width, height "
    "FROM app_layout WHERE app_id IS NOT NULL ORDER BY app_id, position",
    "SELECT app_id, id, screen_width, screen_height, position_x, position_y, width, height "
    "FROM app_layout WHERE app_id IN (SELECT id FROM app_info WHERE workspace_id = ?1) "
    "ORDER BY app_id, position",
    "SELECT app_id, id, screen_width, screen_height, position_x, position_y, width, height "
    "FROM app_layout WHERE app_id IN (SELECT a.id FROM app_info a JOIN workspace w "
    "ON w.id = a.workspace_id WHERE w.name = ?1) ORDER BY app_id, position",
};

Statement query(
    Database& database, const std::array<const char*, 3>& queries, const WorkspaceFilter& filter)
{
    Statement statement = database.prepare(queries.at(size_t(filter.kind)));
    if (filter.kind == WorkspaceFilter::Kind::Id)
        statement.bind(1, filter.id);
    else if (filter.kind == WorkspaceFilter::Kind::Name)
        statement.bind(1, filter.name);
    return statement;
}

QDateTime timeFromStore(const Statement& statement, int column)
{
    if (statement.isNull(column))
        return {};
    return QDateTime::fromMSecsSinceEpoch(statement.integer(column));
}

WorkspaceRow workspaceFrom(const Statement& statement)
{
    return {statement.uuid(0), statement.text(1), timeFromStore(statement, 2),
        statement.optionalText(3), statement.optionalText(4), {}};
}

AppRow appFrom(const Statement& statement)
{
    return {statement.uuid(1), statement.text(2), statement.optionalText(3),
        statement.integer(4) != 0, statement.text(5), {}};
}

LayoutRow layoutFrom(const Statement& statement)
{
    return {statement.uuid(1), statement.real(2), statement.real(3), statement.real(4),
        statement.real(5), statement.real(6), statement.real(7)};
}

struct Range {
    qsizetype begin = 0;
    qsizetype count = 0;
};

// Reads rows that come grouped by the owner in column 0 into one flat list, and where each
// owner's rows are in it.
template <typename Row, typename Read>
QHash<QUuid, Range> readGrouped(Statement statement, QList<Row>& rows, Read read)
{
    QHash<QUuid, Range> groups;
    QUuid owner;
    Range group;
    while (statement.next()) {
        const QUuid rowOwner = statement.uuid(0);
        if (rowOwner != owner || group.count == 0) {
            if (group.count > 0)
                groups.insert(owner, group);
            owner = rowOwner;
            group = {rows.size(), 0};
        }
        rows.append(read(statement));
        ++group.count;
    }
    if (group.count > 0)
        groups.insert(owner, group);
    return groups;
}

template <typename Row>
std::span<const Row> rowsOf(
    const QList<Row>& rows, const QHash<QUuid, Range>& groups, const QUuid& owner)
{
    const Range range = groups.value(owner);
    return std::span<const Row>(rows.constData() + range.begin, size_t(range.count));
}

} // namespace

bool WorkspaceFilter::matches(const Workspace& workspace) const
{
    switch (kind) {
    case Kind::All:
        return true;
    case Kind::Id:
        return workspace.id() == id;
    case Kind::Name:
        return workspace.name() == name;
    }
    return false;
}

std::optional<qint64> storedTime(const QDateTime& time)
{
    if (!time.isValid())
        return std::nullopt;
    return time.toMSecsSinceEpoch();
}

StoredRecords readWorkspaces(Database& database, const WorkspaceFilter& filter)
{
    StoredRecords stored;
    Transaction snapshot(database, Transaction::Kind::Read);
    Statement workspaces = query(database, workspaceQueries, filter);
    while (workspaces.next())
        stored.workspaces.append(workspaceFrom(workspaces));
    const auto appsByWorkspace
        = readGrouped(query(database, appQueries, filter), stored.apps, appFrom);
    const auto layoutsByApp
        = readGrouped(query(database, layoutQueries, filter), stored.layouts, layoutFrom);
    snapshot.commit();

    // The lists are complete now; nothing moves the rows the spans point at any more.
    for (AppRow& app : stored.apps)
        app.layouts = rowsOf(stored.layouts, layoutsByApp, app.id);
    for (WorkspaceRow& workspace : stored.workspaces)
        workspace.apps = rowsOf(stored.apps, appsByWorkspace, workspace.id);
    return stored;
}

} // namespace Store
