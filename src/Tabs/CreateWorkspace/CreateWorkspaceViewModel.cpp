#include "Tabs/CreateWorkspace/CreateWorkspaceViewModel.h"

#include "Extensions/AppInfo+Ext.h"
#include "Extensions/URL+Ext.h"
#include "Platform/InstalledAppChooser.h"
#include "Platform/Applications.h"
#include "Tabs/CreateWorkspace/BringToFront.h"
#include "Util/Console.h"
#include "Util/Scheduler.h"
#include "Util/Services.h"
#include "Util/WorkspaceCapture.h"

#include <QPointer>
#include <QUuid>

CreateWorkspaceViewModel::CreateWorkspaceViewModel(
    CacheManager& manager, const Services& services, QObject* parent)
    : QObject(parent),
      m_manager(manager),
      m_services(services),
      m_appChooser(std::make_shared<Platform::InstalledAppChooser>()),
      m_scheduler(defaultScheduler()),
      m_bringToFront(&bringVantorToFront),
      m_objects(this),
      m_appList("app", nullptr)
{
}

CreateWorkspaceViewModel::~CreateWorkspaceViewModel() = default;

void CreateWorkspaceViewModel::setAppChooser(std::shared_ptr<Platform::AppChooser> chooser)
{
    m_appChooser = std::move(chooser);
}

void CreateWorkspaceViewModel::setScheduler(std::shared_ptr<Scheduler> scheduler)
{
    m_scheduler = std::move(scheduler);
}

void CreateWorkspaceViewModel::setBringToFront(std::function<void()> bringToFront)
{
    m_bringToFront = std::move(bringToFront);
}

void CreateWorkspaceViewModel::setName(const QString& name)
{
    if (m_name == name)
        return;
    m_name = name;
    Q_EMIT nameChanged();
}

void CreateWorkspaceViewModel::setIsNameEmpty(bool isNameEmpty)
{
    if (m_isNameEmpty == isNameEmpty)
        return;
    m_isNameEmpty = isNameEmpty;
    Q_EMIT isNameEmptyChanged();
}

void CreateWorkspaceViewModel::setApps(const QList<AppInfoPtr>& apps)
{
    m_apps = apps;
    m_appList.setObjects(m_objects.objectsFor(m_apps));
    m_objects.keepOnly(m_apps);
    Q_EMIT appsChanged();
}

QVariant CreateWorkspaceViewModel::isRunningAppsValue() const
{
    return m_isRunningApps ? QVariant(*m_isRunningApps) : QVariant();
}

void CreateWorkspaceViewModel::setIsRunningApps(std::optional<bool> isRunningApps)
{
    if (m_isRunningApps == isRunningApps)
        return;
    m_isRunningApps = isRunningApps;
    Q_EMIT isRunningAppsChanged();
}

CreateWorkspaceStepContent CreateWorkspaceViewModel::currentContent()
{
    return m_currentStep.getContent(this);
}

void CreateWorkspaceViewModel::setCurrentStep(CreateWorkspaceStep step)
{
    if (m_currentStep == step)
        return;
    m_currentStep = step;
    Q_EMIT currentStepChanged();
}

void CreateWorkspaceViewModel::setIsBackAnimation(bool isBackAnimation)
{
    if (m_isBackAnimation == isBackAnimation)
        return;
    m_isBackAnimation = isBackAnimation;
    Q_EMIT isBackAnimationChanged();
}

void CreateWorkspaceViewModel::nextStep()
{
    switch (m_currentStep) {
    case CreateWorkspaceStep::setup:
        setCurrentStep(CreateWorkspaceStep::launchApps);
        break;
    case CreateWorkspaceStep::launchApps:
        setCurrentStep(CreateWorkspaceStep::positionApps);
        break;
    case CreateWorkspaceStep::positionApps:
        // Kept on purpose: the last step is left by saving, never by advancing.
        Console::print(QStringLiteral("yeye"));
        break;
    }
}

void CreateWorkspaceViewModel::previousStep()
{
    switch (m_currentStep) {
    case CreateWorkspaceStep::setup:
        break;
    case CreateWorkspaceStep::launchApps:
        setCurrentStep(CreateWorkspaceStep::setup);
        break;
    case CreateWorkspaceStep::positionApps:
        setCurrentStep(CreateWorkspaceStep::launchApps);
        break;
    }
}

// A name of blanks counts as given: it is stored as typed.
bool CreateWorkspaceViewModel::validateStep()
{
    switch (m_currentStep) {
    case CreateWorkspaceStep::setup:
        setIsNameEmpty(m_name.isEmpty());
        return !m_name.isEmpty() && !m_apps.isEmpty();
    case CreateWorkspaceStep::launchApps: {
        const bool running = m_services.runningApps().areAllAppsRunning(m_apps);
        setIsRunningApps(running);
        return running;
    }
    case CreateWorkspaceStep::positionApps:
        return true;
    }
    Q_UNREACHABLE();
}

bool CreateWorkspaceViewModel::continueStep()
{
    setIsBackAnimation(false);
    if (!validateStep())
        return false;
    nextStep();
    return true;
}

void CreateWorkspaceViewModel::goBack()
{
    setIsBackAnimation(true);
    previousStep();
}

// Two entries of the same display name cannot both be chosen, whatever their identifiers.
void CreateWorkspaceViewModel::addManualApp()
{
    const std::optional<AppInfoPtr> app = chooseManualApp();
    if (!app || hasAppNamed((*app)->name()))
        return;
    setApps(m_apps + QList<AppInfoPtr>{*app});
}

std::optional<AppInfoPtr> CreateWorkspaceViewModel::chooseManualApp() const
{
    const std::optional<QUrl> url = m_appChooser->chooseApplication();
    if (!url)
        return std::nullopt;
    const QString path = url->toLocalFile();
    const QString bundleIdentifier = Platform::desktopEntryName(path)
        ? Platform::desktopFileId(path)
        : QStringLiteral("Unknown");
    return AppInfo::create(QUuid::createUuid(), getAppName(*url), bundleIdentifier, false, path);
}

bool CreateWorkspaceViewModel::hasAppNamed(const QString& name) const
{
    return std::any_of(m_apps.cbegin(), m_apps.cend(),
        [&name](const AppInfoPtr& app) { return app->name() == name; });
}

void CreateWorkspaceViewModel::removeApp(const AppInfoPtr& app)
{
    QList<AppInfoPtr> remaining = m_apps;
    if (remaining.removeAll(app) > 0)
        setApps(remaining);
}

void CreateWorkspaceViewModel::removeApp(AppObject* app)
{
    if (app)
        removeApp(app->record());
}

// Every press starts a wait of its own; whichever ends last sets isRunningApps. The screen
// may close meanwhile: Vantor still comes to the front, the check is dropped.
void CreateWorkspaceViewModel::openApps()
{
    ::openApps(m_apps, m_services.windowManager());
    m_scheduler->schedule(openAppsCheckDelay,
        [model = QPointer<CreateWorkspaceViewModel>(this), bringToFront = m_bringToFront] {
            if (bringToFront)
                bringToFront();
            if (model)
                model->checkOpenedApps();
        });
}

void CreateWorkspaceViewModel::checkOpenedApps()
{
    setIsRunningApps(m_services.runningApps().areAllAppsRunning(m_apps));
}

void CreateWorkspaceViewModel::loadRunningApps()
{
    setApps(m_services.runningApps().get());
}

void CreateWorkspaceViewModel::complete()
{
    WorkspaceCapture::createWorkspace(m_name, m_apps, m_services.runningApps(), m_manager);
    Q_EMIT dismissRequested();
}
