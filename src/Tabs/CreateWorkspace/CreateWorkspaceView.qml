import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import Vantor

// The sheet of the create-workspace wizard: the current step's screen of the flow it is
// given. A step forward slides the new screen in from the right, a step back from the left.
// Opening it chooses every running app; "Cancel", "Complete" and Escape close it.
Popup {
    id: sheet

    // The flow of this opening; null while the sheet is closed.
    property CreateWorkspaceViewModel viewModel: null

    objectName: "createWorkspaceSheet"
    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: 500
    height: 500
    padding: 0
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape

    onAboutToShow: {
        viewModel.loadRunningApps()
        steps.clear(StackView.Immediate)
        steps.push(viewModel.currentContent.source, { viewModel: viewModel }, StackView.Immediate)
    }
    onOpened: steps.currentItem.forceActiveFocus()
    // The steps go before their flow does.
    onAboutToHide: steps.clear(StackView.Immediate)

    Connections {
        target: sheet.viewModel

        function onCurrentStepChanged() {
            const model = sheet.viewModel
            steps.replace(steps.currentItem, model.currentContent.source, { viewModel: model },
                model.isBackAnimation ? StackView.PopTransition : StackView.PushTransition)
            steps.currentItem.forceActiveFocus()
        }
        function onDismissRequested() {
            sheet.close()
        }
    }

    StackView {
        id: steps

        anchors.fill: parent
        objectName: "createWorkspaceSteps"
        clip: true
        focus: true
        Accessible.role: Accessible.Dialog
        Accessible.name: "Create a new workspace"

        pushEnter: Transition {
            XAnimator { from: steps.width; to: 0; duration: 250; easing.type: Easing.InOutQuad }
        }
        pushExit: Transition {
            XAnimator { from: 0; to: -steps.width; duration: 250; easing.type: Easing.InOutQuad }
        }
        popEnter: Transition {
            XAnimator { from: -steps.width; to: 0; duration: 250; easing.type: Easing.InOutQuad }
        }
        popExit: Transition {
            XAnimator { from: 0; to: steps.width; duration: 250; easing.type: Easing.InOutQuad }
        }
        replaceEnter: pushEnter
        replaceExit: pushExit
    }

    background: Rectangle {
        color: Theme.background
        radius: 10
        border.color: Theme.border
    }
}
