#pragma once

#include "Models/AppInfo.h"
#include "Tabs/Components/AppObject.h"
#include "Tabs/Components/ObjectListModel.h"
#include "Tabs/Components/RecordObjects.h"
#include "Tabs/CreateWorkspace/CreateWorkspaceStep.h"

#include <QList>
#include <QObject>
#include <QtQml/qqmlregistration.h>
#include <QString>
#include <QVariant>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class CacheManager;
class Scheduler;
class Services;

namespace Platform {
class AppChooser;
}

// The draft and the steps of the create-workspace flow: name it and choose its apps, get
// them all running, then arrange their windows and save. One model per opening of the
// create screen, shared by its step screens.
//
// The screens change steps so: "Continue" clears isBackAnimation, and only when
// validateStep() allows it calls nextStep() inside the default animation; "Back" sets
// isBackAnimation and calls previousStep() inside the default animation. continueStep()
// and goBack() do exactly that, for screens that animate on currentStepChanged.
class CreateWorkspaceViewModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by Vantor, not in QML")
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    // Set by validateStep() on the first step; the name field clears it once a name is typed.
    Q_PROPERTY(bool isNameEmpty READ isNameEmpty WRITE setIsNameEmpty NOTIFY isNameEmptyChanged)
    // AppObjects ("app"), in the order they were added; notified after every change.
    Q_PROPERTY(ObjectListModel* apps READ appList NOTIFY appsChanged)
    // undefined until checked, then whether every chosen app ran at the last check.
    Q_PROPERTY(QVariant isRunningApps READ isRunningAppsValue NOTIFY isRunningAppsChanged)
    Q_PROPERTY(
        CreateWorkspaceStep::Value currentStep READ currentStepValue NOTIFY currentStepChanged)
    Q_PROPERTY(
        CreateWorkspaceStepContent currentContent READ currentContent NOTIFY currentStepChanged)
    Q_PROPERTY(bool isBackAnimation READ isBackAnimation WRITE setIsBackAnimation NOTIFY
            isBackAnimationChanged)

public:
    // How long openApps() gives the apps to start before checking on them.
    static constexpr std::chrono::milliseconds openAppsCheckDelay{900};

    CreateWorkspaceViewModel(
        CacheManager& manager, const Services& services, QObject* parent = nullptr);
    ~CreateWorkspaceViewModel() override;

    CacheManager& manager() const { return m_manager; }

    // What the model asks of the desktop beyond the services; each has a working default.
    void setAppChooser(std::shared_ptr<Platform::AppChooser> chooser);
    void setScheduler(std::shared_ptr<Scheduler> scheduler);
    // Where the flow and its screens wait.
    std::shared_ptr<Scheduler> scheduler() const { return m_scheduler; }
    // Brings Vantor's windows back to the front after apps were opened.
    void setBringToFront(std::function<void()> bringToFront);

    QString name() const { return m_name; }
    void setName(const QString& name);
    bool isNameEmpty() const { return m_isNameEmpty; }
    void setIsNameEmpty(bool isNameEmpty);
    const QList<AppInfoPtr>& apps() const { return m_apps; }
    void setApps(const QList<AppInfoPtr>& apps);
    QList<QObject*> appObjects() const { return m_appList.objects(); }
    ObjectListModel* appList() { return &m_appList; }
    std::optional<bool> isRunningApps() const { return m_isRunningApps; }
    QVariant isRunningAppsValue() const;
    CreateWorkspaceStep currentStep() const { return m_currentStep; }
    CreateWorkspaceStep::Value currentStepValue() const { return m_currentStep; }
    CreateWorkspaceStepContent currentContent();
    bool isBackAnimation() const { return m_isBackAnimation; }
    void setIsBackAnimation(bool isBackAnimation);

    Q_INVOKABLE void nextStep();
    Q_INVOKABLE void previousStep();
    // Checks the current step, updates its flag, and says whether the user may go on.
    Q_INVOKABLE bool validateStep();
    Q_INVOKABLE bool continueStep();
    Q_INVOKABLE void goBack();

    // Lets the user pick an application and appends it, unless one of that name is chosen.
    Q_INVOKABLE void addManualApp();
    void removeApp(const AppInfoPtr& app);
    Q_INVOKABLE void removeApp(AppObject* app);
    // Starts every chosen app and, after openAppsCheckDelay, brings Vantor back to the
    // front and checks that they all run. Returns at once.
    Q_INVOKABLE void openApps();
    // Replaces the chosen apps with the apps running now.
    Q_INVOKABLE void loadRunningApps();
    // Saves the draft, with the current frames of the running apps, as a new workspace and
    // asks the screen to close.
    Q_INVOKABLE void complete();

Q_SIGNALS:
    void nameChanged();
    void isNameEmptyChanged();
    void appsChanged();
    void isRunningAppsChanged();
    void currentStepChanged();
    void isBackAnimationChanged();
    // The flow is done; the create screen should close.
    void dismissRequested();

private:
    void setIsRunningApps(std::optional<bool> isRunningApps);
    void setCurrentStep(CreateWorkspaceStep step);
    std::optional<AppInfoPtr> chooseManualApp() const;
    bool hasAppNamed(const QString& name) const;
    void checkOpenedApps();

    CacheManager& m_manager;
    const Services& m_services;
    std::shared_ptr<Platform::AppChooser> m_appChooser;
    std::shared_ptr<Scheduler> m_scheduler;
    std::function<void()> m_bringToFront;

    QString m_name;
    bool m_isNameEmpty = false;
    QList<AppInfoPtr> m_apps;
    std::optional<bool> m_isRunningApps;
    CreateWorkspaceStep m_currentStep = CreateWorkspaceStep::setup;
    bool m_isBackAnimation = false;

    RecordObjects<AppInfo, AppObject> m_objects;
    ObjectListModel m_appList;
};
