import QtQuick
import QtQuick.Controls.Basic
import Vantor

// The rows of the workspaces, in the store's order, scrolling when they do not fit; `footer`
// goes below the last row.
ListView {
    id: list

    required property ObjectListModel workspaces
    required property bool isEditing

    signal openWorkspace(WorkspaceObject workspace)
    signal editWorkspace(WorkspaceObject workspace)

    model: workspaces
    // Rows are pressed, not kept current: no row stays made while it is scrolled away.
    currentIndex: -1
    clip: true
    spacing: 2
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar {}
    Accessible.role: Accessible.List
    Accessible.name: "Workspaces"

    delegate: WorkspaceListItem {
        required property int index

        width: ListView.view.width
        isEditing: list.isEditing // qmllint disable unqualified
        isLast: index === ListView.view.count - 1
        onOpenWorkspace: (workspace) => list.openWorkspace(workspace) // qmllint disable unqualified
        onEditWorkspace: (workspace) => list.editWorkspace(workspace) // qmllint disable unqualified
    }
}
