#include "Store/StoreWatcher.h"

#include "Store/ModelContext.h"

#include <QFileInfo>

StoreWatcher::StoreWatcher(ModelContext& context, QObject* parent)
    : QObject(parent), m_context(context), m_seenChanges(context.foreignChangeCount())
{
    watchFiles();
    connect(&m_files, &QFileSystemWatcher::fileChanged, this, &StoreWatcher::fileChanged);
}

void StoreWatcher::watchFiles()
{
    // A file that was replaced or removed is no longer watched; the log comes and goes.
    for (const QString& path : {m_context.path(), m_context.path() + QStringLiteral("-wal")}) {
        if (!m_files.files().contains(path) && QFileInfo::exists(path))
            m_files.addPath(path);
    }
}

void StoreWatcher::fileChanged()
{
    watchFiles();
    const std::optional<qint64> changes = m_context.foreignChangeCount();
    if (changes == m_seenChanges)
        return;
    m_seenChanges = changes;
    Q_EMIT changedElsewhere();
}
