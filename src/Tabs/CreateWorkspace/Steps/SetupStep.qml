import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Vantor

// Step one of the wizard: the workspace's name and the apps it includes. The name field
// takes the keyboard whenever the step does.
FocusScope {
    id: step

    required property CreateWorkspaceViewModel viewModel

    objectName: "setupStep"

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 20
        spacing: 8

        Text {
            objectName: "stepTitle"
            text: "📂 Create a new workspace"
            color: Theme.text
            font: Typography.title
        }
        Text {
            Layout.fillWidth: true
            text: "Give it a name and select which apps to include."
            wrapMode: Text.Wrap
            color: Theme.secondaryText
            font: Typography.body
        }
        Text {
            Layout.topMargin: 8
            text: "Name"
            color: Theme.text
            font: Typography.headline
        }
        TextField {
            id: nameField

            objectName: "nameField"
            focus: true
            Layout.fillWidth: true
            padding: 8
            text: step.viewModel.name
            placeholderText: "Workspace name"
            placeholderTextColor: Theme.secondaryText
            color: Theme.text
            font: Typography.body
            Accessible.name: "Name"
            onTextEdited: {
                step.viewModel.name = text
                if (text !== "")
                    step.viewModel.isNameEmpty = false
            }
            onAccepted: continueButton.action()

            background: Rectangle {
                objectName: "nameFieldBackground"
                radius: 6
                color: Theme.backgroundTopBar
                border.width: 1
                border.color: step.viewModel.isNameEmpty ? Theme.red : Theme.border
            }
        }
        Text {
            Layout.topMargin: 8
            text: "Included Apps"
            color: Theme.text
            font: Typography.headline
        }
        AppList {
            objectName: "includedApps"
            Layout.fillWidth: true
            Layout.fillHeight: true
            apps: step.viewModel.apps
            iconSize: AppList.AppIconSize.Medium
            displayIsRunning: false
            canRemoveApps: true
            onRemoveApp: (app) => step.viewModel.removeApp(app)
        }
        MainButton {
            objectName: "addManualAppButton"
            title: "Add manual app"
            iconLeft: "plus"
            type: MainButtonType.Secondary
            size: MainButtonSize.Medium
            onAction: step.viewModel.addManualApp()
        }
        RowLayout {
            Layout.fillWidth: true

            MainButton {
                objectName: "cancelButton"
                title: "Cancel"
                type: MainButtonType.Secondary
                size: MainButtonSize.Medium
                onAction: step.viewModel.dismissRequested()
            }
            Item { Layout.fillWidth: true }
            MainButton {
                id: continueButton

                objectName: "continueButton"
                title: "Continue"
                type: MainButtonType.Primary
                size: MainButtonSize.Medium
                onAction: step.viewModel.continueStep()
            }
        }
    }
}
