#pragma once

#include "Platform/AppChooser.h"
#include "Store/ModelContainer.h"
#include "Tabs/CreateWorkspace/CreateWorkspaceViewModel.h"
#include "Util/CacheManager.h"
#include "Util/Services.h"

#include "FakeDesktop.h"
#include "FakeScheduler.h"
#include "StoreFile.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QStringList>

// Answers the file chooser as a user would, one answer per question.
class ScriptedChooser final : public Platform::AppChooser {
public:
    QList<std::optional<QUrl>> answers;
    int asked = 0;

    std::optional<QUrl> chooseApplication() override
    {
        ++asked;
        return answers.isEmpty() ? std::nullopt : answers.takeFirst();
    }
};

// A create-flow model on fake desktop services, a store file of its own, fake time and a
// scripted file chooser. Bringing Vantor to the front is recorded in `events` as "front".
class CreateWorkspaceFixture {
public:
    FakeWindowSystem* windows = nullptr;
    FakeApplications* applications = nullptr;
    std::unique_ptr<Services> services;
    QString path;
    std::unique_ptr<ModelContainer> container;
    std::unique_ptr<CacheManager> manager;
    std::shared_ptr<FakeScheduler> scheduler = std::make_shared<FakeScheduler>();
    std::shared_ptr<ScriptedChooser> chooser = std::make_shared<ScriptedChooser>();
    QStringList events;
    std::unique_ptr<CreateWorkspaceViewModel> model;

    explicit CreateWorkspaceFixture(const QString& storeName)
    {
        auto fakeWindows = std::make_unique<FakeWindowSystem>();
        auto fakeApplications = std::make_unique<FakeApplications>();
        windows = fakeWindows.get();
        applications = fakeApplications.get();
        services = std::make_unique<Services>(std::move(fakeWindows), std::move(fakeApplications));
        path = QDir::home().filePath(storeName);
        container = ModelContainer::open(path);
        if (!container)
            qFatal("The store did not open");
        manager
            = std::make_unique<CacheManager>(container->mainContext(), services->windowManager());
        model = std::make_unique<CreateWorkspaceViewModel>(*manager, *services);
        model->setScheduler(scheduler);
        model->setAppChooser(chooser);
        model->setBringToFront([this] { events.append(QStringLiteral("front")); });
    }

    ~CreateWorkspaceFixture()
    {
        model.reset();
        QDir(applicationsDir()).removeRecursively();
    }

    // A regular app that runs with one window.
    void run(Platform::ProcessId pid, const QString& name, Frame frame = {10, 20, 640, 480})
    {
        applications->addRunning(pid, QStringLiteral("org.example.") + name, name);
        windows->addWindow(pid, frame);
    }

    // An app as the user chose it, not running.
    static AppInfoPtr chosen(const QString& name)
    {
        return AppInfo::create(
            QUuid::createUuid(), name, QStringLiteral("org.example.") + name, false, QString());
    }

    // Fills in what the draft lacks and advances to `step` without validating.
    void moveTo(CreateWorkspaceStep step)
    {
        if (model->name().isEmpty())
            model->setName(QStringLiteral("Work"));
        if (model->apps().isEmpty())
            model->setApps({chosen(QStringLiteral("Editor"))});
        while (model->currentStep() != step)
            model->nextStep();
    }

    // What the file holds, read through a fresh container.
    QList<WorkspacePtr> storedWorkspaces() const { return StoreFile::workspaces(path); }

    static QString applicationsDir()
    {
        return QStandardPaths::writableLocation(QStandardPaths::ApplicationsLocation);
    }

    static QString writeFile(const QString& path, const QByteArray& contents)
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            qFatal("Cannot write %s", qPrintable(path));
        file.write(contents);
        return path;
    }

    // A desktop entry in the user's applications folder; returns its path.
    static QString writeEntry(const QString& relativePath, const QString& name)
    {
        return writeFile(applicationsDir() + QLatin1Char('/') + relativePath,
            "[Desktop Entry]\nType=Application\nName=" + name.toUtf8() + "\nExec=true\n");
    }

    static QStringList namesOf(const QList<AppInfoPtr>& apps)
    {
        QStringList names;
        for (const AppInfoPtr& app : apps)
            names.append(app->name());
        return names;
    }
};
