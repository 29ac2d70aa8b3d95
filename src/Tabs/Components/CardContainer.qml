import QtQuick
import QtQuick.Layouts
import Vantor

// Frames its content as a card: full width, a faint gray fill, corner radius 4 and a thin
// light outline. The content gives the card its height.
Rectangle {
    id: card

    default property alias content: holder.data

    Layout.fillWidth: true
    implicitWidth: holder.implicitWidth
    implicitHeight: holder.implicitHeight
    color: Qt.rgba(Theme.gray.r, Theme.gray.g, Theme.gray.b, 0.05)
    radius: 4
    border.color: Qt.rgba(1, 1, 1, 0.2)
    border.width: 0.5
    clip: true

    Item {
        id: holder

        anchors.fill: parent
        implicitWidth: childrenRect.width
        implicitHeight: childrenRect.height
    }
}
