import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import QtQuick.Layouts
import Vantor

// A modal sheet over the window that asks before something is deleted: a yellow symbol, a
// title, a message, "Cancel" and the confirm button. Escape cancels.
Popup {
    id: sheet

    required property string title
    required property string message
    required property string icon
    required property string confirmButtonTitle

    signal cancel()
    signal confirm()

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    modal: true
    focus: true
    padding: 24
    closePolicy: Popup.CloseOnEscape
    onClosed: if (!confirmed) sheet.cancel()
    onAboutToShow: confirmed = false

    property bool confirmed: false

    background: Rectangle {
        color: Theme.background
        radius: 10
        border.color: Theme.border
        border.width: 1
    }

    contentItem: ColumnLayout {
        spacing: 12
        Accessible.role: Accessible.Dialog
        Accessible.name: sheet.title

        Symbol {
            Layout.alignment: Qt.AlignHCenter
            name: sheet.icon
            color: Theme.yellow
            size: 40
        }
        Text {
            objectName: "sheetTitle"
            Layout.alignment: Qt.AlignHCenter
            text: sheet.title
            color: Theme.text
            font: Typography.headline
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            objectName: "sheetMessage"
            Layout.alignment: Qt.AlignHCenter
            Layout.maximumWidth: 360
            text: sheet.message
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            textFormat: Text.PlainText
            color: Theme.text
            font: Typography.body
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        RowLayout {
            Layout.alignment: Qt.AlignHCenter
            spacing: 8

            MainButton {
                objectName: "cancelButton"
                title: "Cancel"
                type: MainButtonType.Primary
                size: MainButtonSize.Medium
                onAction: sheet.close()
            }
            MainButton {
                objectName: "confirmButton"
                title: sheet.confirmButtonTitle
                type: MainButtonType.Destructive
                size: MainButtonSize.Medium
                onAction: {
                    sheet.confirmed = true
                    sheet.close()
                    sheet.confirm()
                }
            }
        }
    }
}
