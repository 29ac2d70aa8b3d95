import QtQuick
import QtQuick.Layouts
import Vantor

// The "Workspaces" tab: the list and, while a workspace is selected, a divider and its
// detail beside a list narrowed to 200 px. "Add workspace" opens the create sheet.
Item {
    id: view

    required property WorkspaceViewModel viewModel
    readonly property bool showDivider: viewModel.selectedWorkspace !== null

    objectName: "workspaceView"
    Accessible.role: Accessible.Pane
    Accessible.name: "Workspaces"
    Component.onCompleted: viewModel.reloadWorkspaces()

    function lacks(workspace: WorkspaceObject): bool {
        return !viewModel.hasLayoutForCurrentScreen(workspace)
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        WorkspaceListView {
            objectName: "workspaceListView"
            Layout.fillHeight: true
            Layout.fillWidth: !view.showDivider
            Layout.preferredWidth: view.showDivider ? 200 : -1
            workspaces: view.viewModel.workspaces
            isEditing: view.showDivider
            onOpenWorkspace: (workspace) => view.viewModel.openWorkspace(workspace)
            onEditWorkSpace: (workspace) => view.viewModel.editWorkspace(workspace)
            onAddWorkspace: view.viewModel.showModal = true
        }
        Rectangle {
            objectName: "listDivider"
            visible: view.showDivider
            Layout.fillHeight: true
            implicitWidth: 1
            color: Theme.border
        }
        Loader {
            Layout.fillWidth: true
            Layout.fillHeight: true
            active: view.showDivider
            visible: active

            // The detail reads the view model from this file's scope, which Qt 6.4's qmllint
            // does not follow into a component.
            sourceComponent: WorkspaceDetailView {
                objectName: "workspaceDetail"
                workspace: view.viewModel.selectedWorkspace // qmllint disable unqualified
                // Read again whenever the workspace changes (its screen sizes with it).
                lacksLayoutForCurrentScreen: workspace !== null && workspace.screenSizes.length >= 0 && view.lacks(workspace) // qmllint disable unqualified
                onBack: view.viewModel.resetSelectedWorkspace() // qmllint disable unqualified
                onUpdateWorkspace: (workspace, overrideCurrent) => view.viewModel.updateWorkspace(workspace, overrideCurrent) // qmllint disable unqualified
                onDeleteWorkspace: view.viewModel.deleteWorkspace() // qmllint disable unqualified
            }
        }
    }

    CreateWorkspaceView {
        viewModel: view.viewModel.createViewModel
        visible: view.viewModel.showModal
        onClosed: {
            view.viewModel.showModal = false
            view.viewModel.reloadWorkspaces()
        }
    }
}
