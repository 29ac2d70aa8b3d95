#include "Store/StoreWatcher.h"

#include "Store/ModelContext.h"

#include <QFileInfo>

StoreWatcher::StoreWatcher(ModelContext& context, QObject* parent)
    : QObject(parent), m_context(context), m_seenChanges(context.foreignChangeCount())
{
    watchFiles();
    // A commit is the last write to the log, then the log's index in shared memory (which
    // tells no one); the counter is read a moment after the last write so that it has moved.
    m_settle.setSingleShot(true);
    m_settle.setInterval(50);
    connect(&m_settle, &QTimer::timeout, this, &StoreWatcher::compareChanges);
    connect(&m_files, &QFileSystemWatcher::fileChanged, &m_settle, qOverload<>(&QTimer::start));
}

void StoreWatcher::watchFiles()
{
    // A file that was replaced or removed is no longer watched; the log comes and goes.
    for (const QString& path : {m_context.path(), m_context.path() + QStringLiteral("-wal")}) {
        if (!m_files.files().contains(path) && QFileInfo::exists(path))
            m_files.addPath(path);
    }
}

void StoreWatcher::compareChanges()
{
    watchFiles();
    const std::optional<qint64> changes = m_context.foreignChangeCount();
    if (changes == m_seenChanges)
        return;
    m_seenChanges = changes;
    Q_EMIT changedElsewhere();
}
