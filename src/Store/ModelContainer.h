#pragma once

#include "Store/ModelContext.h"

#include <QString>

#include <memory>

// The workspace store: one SQLite file and the contexts that work on it.
//
//   sharedModelContainer()       the process-wide store at defaultStoreURL("Vantor.sqlite"),
//                                opened on first use; stops the process when it cannot be
//                                opened or upgraded, leaving the file as it was
//   ModelContainer::open(path)   a store at another place, or null with the reason
//   mainContext()                the context the screens work on
//   makeContext()                a further context with its own connection, e.g. the shell's
//
// Contexts see each other's saved changes, and those of other processes on the same file.
class ModelContainer {
public:
    static std::unique_ptr<ModelContainer> open(const QString& path, QString* error = nullptr);
    // open(), or a fatal stop naming the file and the reason.
    static std::unique_ptr<ModelContainer> openOrStop(const QString& path);

    ~ModelContainer();
    ModelContainer(const ModelContainer&) = delete;
    ModelContainer& operator=(const ModelContainer&) = delete;

    QString path() const { return m_path; }
    ModelContext& mainContext() { return *m_mainContext; }
    std::unique_ptr<ModelContext> makeContext() const;

private:
    ModelContainer(QString path, std::unique_ptr<ModelContext> mainContext);

    QString m_path;
    std::unique_ptr<ModelContext> m_mainContext;
};

// The file `databaseName` directly in the user's data directory ($XDG_DATA_HOME, by default
// ~/.local/share), which is created when missing. Stops the process when there is none.
QString defaultStoreURL(const QString& databaseName);

ModelContainer& sharedModelContainer();
