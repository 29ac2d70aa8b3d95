import QtQuick
import QtQuick.Controls.Basic
import Vantor

// One tab of the main window: a symbol above its label, on the tab bar's background.
TabButton {
    id: tab

    required property string symbol

    implicitWidth: 96
    padding: 6
    Accessible.name: text
    Accessible.role: Accessible.PageTab
    Accessible.onPressAction: tab.TabBar.tabBar.setCurrentIndex(tab.TabBar.index)

    contentItem: Column {
        spacing: 2

        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            name: tab.symbol
            size: 18
            color: tab.checked ? Theme.primaryButtonText : Theme.secondaryText
        }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: tab.text
            font: Typography.caption
            color: tab.checked ? Theme.primaryButtonText : Theme.secondaryText
            Accessible.ignored: true
        }
    }

    background: Rectangle {
        color: tab.checked ? Theme.hover : "transparent"
        radius: 4
        border.width: tab.visualFocus ? 1 : 0
        border.color: Theme.primaryButtonText
    }
}
