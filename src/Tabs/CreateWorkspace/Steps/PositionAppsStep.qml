import QtQuick
import QtQuick.Layouts
import Vantor

// Step three of the wizard: the user arranges the apps' windows, and "Complete" saves the
// workspace with the frames they have then.
Item {
    id: step

    required property CreateWorkspaceViewModel viewModel

    objectName: "positionAppsStep"

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 20
        spacing: 8

        Text {
            objectName: "stepTitle"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: "Final Touch: Position Apps"
            color: Theme.text
            font: Typography.title
        }
        Text {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: "Arrange your apps just the way you like them. They don’t have to be pixel-perfect — Vantor will remember your layout."
            wrapMode: Text.Wrap
            color: Theme.secondaryText
            font: Typography.body
        }
        Illustration {
            Layout.fillWidth: true
            Layout.fillHeight: true
            name: "dashboardOrganized"
        }
        RowLayout {
            Layout.fillWidth: true

            MainButton {
                objectName: "backButton"
                title: "Back"
                type: MainButtonType.Secondary
                size: MainButtonSize.Medium
                onAction: step.viewModel.goBack()
            }
            Item { Layout.fillWidth: true }
            MainButton {
                objectName: "completeButton"
                title: "Complete"
                type: MainButtonType.Primary
                size: MainButtonSize.Medium
                onAction: step.viewModel.complete()
            }
        }
    }
}
