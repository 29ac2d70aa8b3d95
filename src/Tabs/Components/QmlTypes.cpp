#include "Tabs/Components/QmlTypes.h"

#include "Tabs/Components/AppObject.h"
#include "Tabs/Components/WorkspaceObject.h"
#include "Tabs/CreateWorkspace/CreateWorkspaceStep.h"
#include "Tabs/CreateWorkspace/CreateWorkspaceViewModel.h"
#include "Tabs/Workspace/WorkspaceView/WorkspaceViewModel.h"

#include <QtQml/qqml.h>

void registerViewModelTypes()
{
    static const bool registered = [] {
        const char* uri = "Vantor";
        const QString made = QStringLiteral("made by Vantor, not in QML");
        qmlRegisterUncreatableMetaObject(
            CreateWorkspaceStep::staticMetaObject, uri, 1, 0, "CreateWorkspaceStep", made);
        qmlRegisterUncreatableType<CreateWorkspaceViewModel>(
            uri, 1, 0, "CreateWorkspaceViewModel", made);
        qmlRegisterUncreatableType<WorkspaceViewModel>(uri, 1, 0, "WorkspaceViewModel", made);
        qmlRegisterUncreatableType<WorkspaceObject>(uri, 1, 0, "WorkspaceObject", made);
        qmlRegisterUncreatableType<AppObject>(uri, 1, 0, "AppObject", made);
        return true;
    }();
    Q_UNUSED(registered);
}
