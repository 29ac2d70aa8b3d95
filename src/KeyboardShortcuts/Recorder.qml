import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import KeyboardShortcuts

// The shortcut recorder: a small search-field-like box that shows the global shortcut of one
// name and records a new one when it gets keyboard focus. An optional title goes before it.
//
//     KeyboardShortcuts.Recorder { name: "workspaceShortcut_1"; title: "Work" }
RowLayout {
    id: root

    property string name
    property string title
    readonly property alias control: control
    readonly property alias field: field
    readonly property alias alert: alert

    // A shortcut stored ({carbonKeyCode, carbonModifiers}) or cleared (null).
    signal change(var shortcut)

    spacing: 8

    RecorderControl {
        id: control
        shortcutName: root.name
        field: field
        onChange: (shortcut) => root.change(shortcut)
        onAlertRequested: (title, message, buttons) => alert.show(title, message, buttons)
    }

    Label {
        visible: root.title !== ""
        text: root.title
    }

    TextField {
        id: field
        objectName: "recorderField"
        Layout.minimumWidth: control.minimumWidth
        implicitWidth: Math.max(implicitBackgroundWidth + leftInset + rightInset,
                                contentWidth + leftPadding + rightPadding, control.minimumWidth)
        horizontalAlignment: TextInput.AlignHCenter
        readOnly: true
        selectByMouse: false
        activeFocusOnTab: true
        text: control.text
        placeholderText: control.placeholderText
        cursorVisible: activeFocus && control.caretVisible
        rightPadding: clearButton.visible ? clearButton.width + 4 : leftPadding

        ToolButton {
            id: clearButton
            objectName: "recorderClearButton"
            visible: control.cancelButtonVisible
            focusPolicy: Qt.NoFocus
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            height: parent.height - 4
            width: height
            text: "\u2715"
            // On press: a release inside the field belongs to the recording.
            onPressed: control.clear()
        }
    }

    Dialog {
        id: alert
        objectName: "recorderAlert"
        parent: Overlay.overlay
        anchors.centerIn: parent
        modal: true
        closePolicy: Popup.NoAutoClose

        property string message
        property var buttons: []

        function show(title, message, buttons) {
            alert.title = title
            alert.message = message
            alert.buttons = buttons
            alert.open()
        }
        function answer(index) {
            alert.close()
            control.answerAlert(index)
        }

        ColumnLayout {
            spacing: 12
            Label {
                objectName: "recorderAlertMessage"
                visible: text !== ""
                text: alert.message
                wrapMode: Text.WordWrap
                Layout.maximumWidth: 360
            }
            RowLayout {
                Layout.alignment: Qt.AlignRight
                Button {
                    objectName: "recorderAlertButton0"
                    text: alert.buttons.length > 0 ? alert.buttons[0] : ""
                    onClicked: alert.answer(0)
                }
                Button {
                    objectName: "recorderAlertButton1"
                    visible: alert.buttons.length > 1
                    text: alert.buttons.length > 1 ? alert.buttons[1] : ""
                    onClicked: alert.answer(1)
                }
            }
        }
    }
}
