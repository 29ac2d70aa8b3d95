import QtQuick
import Vantor

// The list column of the Workspaces tab: the rows and, outside editing mode, "Add workspace"
// below them.
Item {
    id: listView

    required property ObjectListModel workspaces
    required property bool isEditing

    signal openWorkspace(WorkspaceObject workspace)
    signal editWorkSpace(WorkspaceObject workspace)
    signal addWorkspace()

    WorkspaceList {
        objectName: "workspaceList"
        anchors.fill: parent
        anchors.margins: 8
        workspaces: listView.workspaces
        isEditing: listView.isEditing
        onOpenWorkspace: (workspace) => listView.openWorkspace(workspace)
        onEditWorkspace: (workspace) => listView.editWorkSpace(workspace)

        footer: Item {
            width: ListView.view.width
            height: listView.isEditing ? 0 : addButton.implicitHeight + 16 // qmllint disable unqualified

            MainButton {
                id: addButton

                objectName: "addWorkspaceButton"
                visible: !listView.isEditing // qmllint disable unqualified
                anchors.horizontalCenter: parent.horizontalCenter
                anchors.bottom: parent.bottom
                title: "Add workspace"
                iconLeft: "plus"
                type: MainButtonType.Primary
                size: MainButtonSize.Medium
                onAction: listView.addWorkspace() // qmllint disable unqualified
            }
        }
    }
}
