#pragma once

#include <QFileSystemWatcher>
#include <QTimer>
#include <QObject>

#include <optional>

class ModelContext;

// Tells when the store file was changed by someone other than `context`: another context,
// another Vantor or the command line. It listens for the file and its write-ahead log to
// change (inotify, no polling) and, once the writes have settled, compares the store's own
// change counter, so the context's own saves are not reported.
class StoreWatcher final : public QObject {
    Q_OBJECT

public:
    explicit StoreWatcher(ModelContext& context, QObject* parent = nullptr);

Q_SIGNALS:
    void changedElsewhere();

private:
    void compareChanges();
    void watchFiles();

    ModelContext& m_context;
    QFileSystemWatcher m_files;
    QTimer m_settle;
    std::optional<qint64> m_seenChanges;
};
