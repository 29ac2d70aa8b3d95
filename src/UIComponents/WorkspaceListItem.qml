import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Vantor

// One workspace of the list: its name and, outside editing mode, "Edit". A click opens the
// workspace (outside editing mode) or selects it (in editing mode).
Rectangle {
    id: item

    required property WorkspaceObject workspace
    // Empty while the row goes away with its workspace.
    readonly property string name: workspace ? workspace.name : ""
    required property bool isEditing
    required property bool isLast
    readonly property bool isHover: pointer.containsMouse

    signal openWorkspace(WorkspaceObject workspace)
    signal editWorkspace(WorkspaceObject workspace)

    function activate() {
        if (item.isEditing)
            item.editWorkspace(item.workspace)
        else
            item.openWorkspace(item.workspace)
    }

    implicitHeight: row.implicitHeight + 16
    radius: 6
    color: isHover ? Theme.hover : Theme.background
    Accessible.role: Accessible.ListItem
    Accessible.name: name
    Accessible.description: helpText.text
    Accessible.onPressAction: activate()

    MouseArea {
        id: pointer

        anchors.fill: parent
        hoverEnabled: true
        onClicked: item.activate()
    }

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.leftMargin: 12
        anchors.rightMargin: 12
        spacing: 8

        Text {
            objectName: "workspaceName"
            Layout.fillWidth: true
            text: item.name
            elide: Text.ElideRight
            textFormat: Text.PlainText
            color: Theme.text
            font: item.isEditing ? Typography.title3 : Typography.title
            Accessible.ignored: true
        }
        MainButton {
            objectName: "editButton"
            visible: !item.isEditing
            title: "Edit"
            type: MainButtonType.Secondary
            size: MainButtonSize.Small
            Accessible.name: "Edit " + item.name
            onAction: item.editWorkspace(item.workspace)
        }
    }

    Rectangle {
        objectName: "rowDivider"
        visible: !(item.isLast && !item.isEditing)
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: 1
        color: Theme.hover
    }

    ToolTip {
        id: helpText

        visible: item.isHover
        delay: 600
        text: item.isEditing ? "Select workspace" : "Open workspace"
    }
}
