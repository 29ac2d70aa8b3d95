#pragma once

#include "Store/ModelContext.h"
#include "Store/StoreResult.h"

#include <QString>

#include <memory>
#include <optional>

// The workspace store: one SQLite file and the contexts that work on it.
//
//   openSharedModelContainer()   the process-wide store at defaultStoreURL("Vantor.sqlite"),
//                                opened on the first call, or the message why it cannot be
//   sharedModelContainer()       the same store; ends the process (exit status 1) with the
//                                message when it cannot be opened
//   ModelContainer::open(path)   a store at another place, or null with the reason
//   mainContext()                the context the screens work on
//   makeContext()                a further context with its own connection, e.g. the shell's
//
// A store that cannot be opened or upgraded is left as it was. One that cannot be written
// (read-only folder or file, full disk) opens for reading: fetches work, and every save
// fails with readOnlyReason().
//
// Contexts see each other's saved changes, and those of other processes on the same file.
class ModelContainer {
public:
    static std::unique_ptr<ModelContainer> open(const QString& path, QString* error = nullptr);
    // The one line that tells the user that the store at `path` did not open, and why.
    static QString openFailureMessage(const QString& path, const QString& reason);

    ~ModelContainer();
    ModelContainer(const ModelContainer&) = delete;
    ModelContainer& operator=(const ModelContainer&) = delete;

    QString path() const { return m_path; }
    const std::optional<QString>& readOnlyReason() const { return m_readOnlyReason; }
    ModelContext& mainContext() { return *m_mainContext; }
    // Null with the reason when no further connection can be opened.
    std::unique_ptr<ModelContext> makeContext(QString* error = nullptr) const;

private:
    ModelContainer(QString path, std::optional<QString> readOnlyReason,
        std::unique_ptr<ModelContext> mainContext);

    QString m_path;
    std::optional<QString> m_readOnlyReason;
    std::unique_ptr<ModelContext> m_mainContext;
};

// The file `databaseName` directly in the user's data directory ($XDG_DATA_HOME, by default
// ~/.local/share), which is created when missing; the message when there is none.
StoreResult<QString> defaultStoreURL(const QString& databaseName);

const StoreResult<ModelContainer*>& openSharedModelContainer();
ModelContainer& sharedModelContainer();
