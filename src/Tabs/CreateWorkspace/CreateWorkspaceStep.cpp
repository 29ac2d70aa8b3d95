#include "Tabs/CreateWorkspace/CreateWorkspaceStep.h"

namespace {

QString componentNameOf(CreateWorkspaceStep step)
{
    switch (step) {
    case CreateWorkspaceStep::setup:
        return QStringLiteral("SetupStep");
    case CreateWorkspaceStep::launchApps:
        return QStringLiteral("LaunchAppsStep");
    case CreateWorkspaceStep::positionApps:
        return QStringLiteral("PositionAppsStep");
    }
    Q_UNREACHABLE();
}

} // namespace

CreateWorkspaceStepContent CreateWorkspaceStep::getContent(
    CreateWorkspaceViewModel* viewModel) const
{
    const QString name = componentNameOf(*this);
    return {name, QUrl(QStringLiteral("qrc:/qt/qml/Vantor/Tabs/CreateWorkspace/Steps/%1.qml").arg(name)),
        viewModel};
}
