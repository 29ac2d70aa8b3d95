import QtQuick
import Vantor

// The "Workspaces" tab. Its list and detail screens come next; for now the tab is empty.
Item {
    required property WorkspaceViewModel viewModel

    objectName: "workspaceView"
    Accessible.role: Accessible.Pane
    Accessible.name: "Workspaces"
}
