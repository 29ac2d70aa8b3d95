import QtQuick
import QtQuick.Layouts
import Vantor

// Step two of the wizard: getting every chosen app running. Its illustration plays once
// each time the step is shown.
Item {
    id: step

    required property CreateWorkspaceViewModel viewModel
    readonly property string imageName: animation.imageName
    // Absent (undefined) until the first check.
    readonly property bool openingFailed: viewModel.isRunningApps === false
    readonly property bool appsRunning: viewModel.isRunningApps === true

    objectName: "launchAppsStep"
    Component.onCompleted: animation.start()

    DashboardAnimation {
        id: animation

        viewModel: step.viewModel
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 20
        spacing: 8

        Text {
            objectName: "stepTitle"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: "👋 Time to wake up your apps!"
            color: Theme.text
            font: Typography.title
        }
        Text {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: "Hit ‘Open Apps’ so Vantor can get them running and ready for some window magic."
            wrapMode: Text.Wrap
            color: Theme.secondaryText
            font: Typography.body
        }
        Illustration {
            objectName: "launchIllustration"
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.maximumWidth: 400
            Layout.alignment: Qt.AlignHCenter
            name: step.imageName
        }
        Text {
            objectName: "openAppsError"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            visible: step.openingFailed
            text: "Something went wrong when opening the apps. Please try again."
            wrapMode: Text.Wrap
            color: Theme.red
            font: Typography.body
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
                objectName: "continueButton"
                title: step.appsRunning ? "Continue" : "Open apps"
                type: MainButtonType.Primary
                size: MainButtonSize.Medium
                onAction: step.appsRunning ? step.viewModel.continueStep() : step.viewModel.openApps()
            }
        }
    }
}
