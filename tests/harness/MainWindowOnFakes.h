#pragma once

#include "Shell/MainWindow.h"
#include "Store/ModelContainer.h"
#include "Util/Services.h"

#include "FakeDesktop.h"

#include <QSignalSpy>
#include <QStringList>
#include <QTest>

#include <memory>

// The real main window over the test program's shared store and fake desktop services, for
// tests of the screens; the tests set what the fakes answer.
class MainWindowOnFakes {
public:
    FakeWindowSystem* windows = nullptr;
    FakeApplications* applications = nullptr;
    std::unique_ptr<Services> services;
    std::unique_ptr<MainWindow> mainWindow;

    MainWindowOnFakes()
    {
        qputenv("VANTOR_COLOR_SCHEME", "light");
        auto fakeWindows = std::make_unique<FakeWindowSystem>();
        auto fakeApplications = std::make_unique<FakeApplications>();
        windows = fakeWindows.get();
        applications = fakeApplications.get();
        services = std::make_unique<Services>(std::move(fakeWindows), std::move(fakeApplications));
        mainWindow = std::make_unique<MainWindow>(sharedModelContainer().mainContext(), *services);
    }

    ~MainWindowOnFakes()
    {
        mainWindow.reset();
        services.reset();
    }

    MainWindowOnFakes(const MainWindowOnFakes&) = delete;
    MainWindowOnFakes& operator=(const MainWindowOnFakes&) = delete;

    // Shows the window and waits until it is on screen; false when it never was.
    bool show() const
    {
        QSignalSpy shown(mainWindow.get(), &MainWindow::shown);
        mainWindow->showAndActivate();
        return (shown.count() == 1 || shown.wait()) && QTest::qWaitForWindowExposed(mainWindow->window());
    }

    // The names of the stored workspaces, in store order, read through a context of their own.
    static QStringList storedNames()
    {
        QStringList names;
        for (const WorkspacePtr& workspace :
            sharedModelContainer().makeContext()->fetchWorkspaces().value)
            names.append(workspace->name());
        return names;
    }
};
