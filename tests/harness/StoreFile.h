#pragma once

#include "Models/Workspace.h"
#include "Store/Database.h"
#include "Store/ModelContainer.h"

#include <QList>
#include <QString>

// What a store file holds, read through connections of its own, as a later process would
// find it: independent of the contexts under test.
namespace StoreFile {

inline std::unique_ptr<ModelContainer> reopen(const QString& path)
{
    QString error;
    auto container = ModelContainer::open(path, &error);
    if (!container)
        qFatal("The store %s did not open again: %s", qPrintable(path), qPrintable(error));
    return container;
}

inline QList<WorkspacePtr> workspaces(const QString& path)
{
    return reopen(path)->mainContext().fetchWorkspaces().value;
}

// The first column of the first row of a query on the file, e.g. a COUNT.
inline qint64 count(const QString& path, const char* sql)
{
    return Store::Database::open(path)->queryInteger(sql);
}

// Makes the store hold exactly `workspaces`, saved through a context of its own, as another
// screen or process would; false when the save failed.
inline bool replaceWorkspaces(ModelContainer& container, const QList<WorkspacePtr>& workspaces)
{
    auto context = container.makeContext();
    for (const WorkspacePtr& stored : context->fetchWorkspaces().value)
        context->remove(stored);
    for (const WorkspacePtr& workspace : workspaces)
        context->insert(workspace);
    return !context->save();
}

} // namespace StoreFile
