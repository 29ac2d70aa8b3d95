import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import Vantor

// The sheet of the create-workspace wizard. Its steps come next; until then the sheet is
// empty and closes with Escape or a click beside it.
Popup {
    objectName: "createWorkspaceSheet"
    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: 500
    height: 500
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside

    contentItem: Item {
        Accessible.role: Accessible.Dialog
        Accessible.name: "Create a new workspace"
    }

    background: Rectangle {
        color: Theme.background
        radius: 10
        border.color: Theme.border
    }
}
