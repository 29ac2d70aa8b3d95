import QtQuick
import QtQuick.Layouts
import Vantor

// A notice: an indigo-tinted rounded card with a symbol, a text and, optionally, a button.
Rectangle {
    id: info

    required property string desc
    required property string icon
    property InfoButtonModel button: null

    implicitWidth: row.implicitWidth + 32
    implicitHeight: row.implicitHeight + 20
    radius: 8
    color: Qt.rgba(Theme.indigo.r, Theme.indigo.g, Theme.indigo.b, 0.15)
    Accessible.role: Accessible.StaticText
    Accessible.name: desc

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.leftMargin: 16
        anchors.rightMargin: 16
        anchors.topMargin: 10
        anchors.bottomMargin: 10
        spacing: 4

        Symbol {
            name: info.icon
            color: Theme.indigo
            size: 18
        }
        Text {
            Layout.fillWidth: true
            text: info.desc
            wrapMode: Text.Wrap
            color: Theme.text
            font: Typography.body
            Accessible.ignored: true
        }
        MainButton {
            objectName: "infoButton"
            visible: info.button !== null
            title: info.button ? info.button.title : ""
            type: MainButtonType.Primary
            size: MainButtonSize.Small
            onAction: info.button.clicked()
        }
    }
}
