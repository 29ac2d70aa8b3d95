import QtQuick
import Vantor

// The one button look of Vantor's screens: a label with an optional symbol before it, on a
// filled (primary) or clear (secondary, destructive) rounded rectangle. The whole padded
// rectangle takes the click; the button stays out of the keyboard focus chain but can be
// pressed through its accessible action.
Rectangle {
    id: button

    required property string title
    property int type: MainButtonType.Primary
    property int size: MainButtonSize.Medium
    // A symbol name; empty for none.
    property string iconLeft: ""
    readonly property bool isHover: pointer.containsMouse

    signal action()

    readonly property color contentColor: type === MainButtonType.Destructive
        ? Theme.red : Theme.primaryButtonText
    readonly property int horizontalPadding: size === MainButtonSize.Small ? 8 : 16
    readonly property int verticalPadding: size === MainButtonSize.Small ? 4 : 8

    implicitWidth: Math.ceil(content.implicitWidth) + 2 * horizontalPadding
    implicitHeight: Math.ceil(content.implicitHeight) + 2 * verticalPadding
    radius: size === MainButtonSize.Small ? 4 : 8
    color: type === MainButtonType.Primary ? Theme.primaryButton : Qt.rgba(0, 0, 0, 0)
    activeFocusOnTab: false
    opacity: enabled ? 1 : 0.5

    Accessible.role: Accessible.Button
    Accessible.name: title
    Accessible.onPressAction: button.action()

    Row {
        id: content

        anchors.centerIn: parent
        spacing: 4

        Symbol {
            objectName: "icon"
            anchors.verticalCenter: parent.verticalCenter
            visible: button.iconLeft !== ""
            name: button.iconLeft
            color: button.contentColor
            size: label.font.pixelSize > 0 ? label.font.pixelSize : Math.round(label.font.pointSize * 4 / 3)
        }

        Text {
            id: label

            objectName: "label"
            anchors.verticalCenter: parent.verticalCenter
            text: button.title
            color: button.contentColor
            font: button.type === MainButtonType.Primary ? Typography.bodySemibold : Typography.body
            Accessible.ignored: true
        }
    }

    MouseArea {
        id: pointer

        anchors.fill: parent
        hoverEnabled: true
        // Back to the arrow as soon as the button is hidden, also with the pointer still.
        cursorShape: button.visible ? Qt.PointingHandCursor : Qt.ArrowCursor
        onClicked: button.action()
    }
}
