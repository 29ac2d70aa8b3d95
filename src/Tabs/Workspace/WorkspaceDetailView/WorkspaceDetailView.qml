import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Vantor

// One workspace in detail: its name and last update, the notice when this screen has no
// layout, its apps and stored screen sizes, "Update workspace" and "Delete workspace".
Item {
    id: detail

    required property WorkspaceObject workspace
    // Whether an app of the workspace has no frame for the current screen.
    required property bool lacksLayoutForCurrentScreen
    property bool isDeleteAlertPresented: false
    // Empty while the detail goes away with its workspace.
    readonly property string name: workspace ? workspace.name : ""

    signal back()
    signal updateWorkspace(WorkspaceObject workspace, bool overrideCurrent)
    signal deleteWorkspace()

    Accessible.role: Accessible.Pane
    Accessible.name: name

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 12

        RowLayout {
            spacing: 8

            MainButton {
                objectName: "backButton"
                title: ""
                iconLeft: "chevron.left"
                type: MainButtonType.Secondary
                size: MainButtonSize.Small
                Accessible.name: "Back"
                onAction: detail.back()
            }
            Text {
                objectName: "detailName"
                Layout.fillWidth: true
                text: detail.name
                elide: Text.ElideRight
                textFormat: Text.PlainText
                color: Theme.text
                font: Typography.title
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            Text {
                objectName: "updatedAt"
                text: "Updated at: " + (detail.workspace ? detail.workspace.updatedAtText : "")
                color: Theme.secondaryText
                font: Typography.caption
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }

        InfoView {
            objectName: "layoutNotice"
            Layout.fillWidth: true
            visible: detail.lacksLayoutForCurrentScreen
            desc: "The current screensize doesn't have a specified layout"
            icon: "rectangle.3.offgrid"
            button: InfoButtonModel {
                title: "Update layout"
                onClicked: detail.updateWorkspace(detail.workspace, false)
            }
        }

        CardContainer {
            ColumnLayout {
                width: parent.width
                spacing: 6

                Text {
                    Layout.margins: 10
                    Layout.bottomMargin: 0
                    text: "Apps"
                    color: Theme.text
                    font: Typography.headline
                    Accessible.role: Accessible.Heading
                    Accessible.name: text
                }
                AppList {
                    objectName: "detailApps"
                    Layout.fillWidth: true
                    Layout.leftMargin: 10
                    Layout.rightMargin: 10
                    Layout.preferredHeight: 150
                    apps: detail.workspace ? detail.workspace.apps : null
                    iconSize: AppList.AppIconSize.Small
                }
            }
        }

        CardContainer {
            ColumnLayout {
                width: parent.width
                spacing: 4

                Text {
                    Layout.margins: 10
                    Layout.bottomMargin: 0
                    text: "Layouts"
                    color: Theme.text
                    font: Typography.headline
                    Accessible.role: Accessible.Heading
                    Accessible.name: text
                }
                Repeater {
                    model: detail.workspace ? detail.workspace.screenSizes : []

                    Text {
                        required property string modelData

                        Layout.leftMargin: 10
                        text: "Screen size: " + modelData
                        color: Theme.text
                        font: Typography.body
                        Accessible.role: Accessible.StaticText
                        Accessible.name: text
                    }
                }
                Item {
                    implicitHeight: 6
                }
            }
        }

        Item {
            Layout.fillHeight: true
        }

        RowLayout {
            spacing: 8

            MainButton {
                objectName: "updateWorkspaceButton"
                title: "Update workspace"
                type: MainButtonType.Primary
                size: MainButtonSize.Medium
                onAction: detail.updateWorkspace(detail.workspace, true)
            }
            MainButton {
                objectName: "deleteWorkspaceButton"
                title: "Delete workspace"
                type: MainButtonType.Destructive
                size: MainButtonSize.Medium
                onAction: detail.isDeleteAlertPresented = true
            }
        }
    }

    DeleteConfirmationSheet {
        objectName: "deleteSheet"
        visible: detail.isDeleteAlertPresented
        title: "Heads up!"
        icon: "wind"
        message: "Deleting " + detail.name + "? That’s bold. Just making sure you meant it."
        confirmButtonTitle: "Delete workspace"
        onCancel: detail.isDeleteAlertPresented = false
        onConfirm: {
            detail.isDeleteAlertPresented = false
            detail.deleteWorkspace()
        }
    }
}
