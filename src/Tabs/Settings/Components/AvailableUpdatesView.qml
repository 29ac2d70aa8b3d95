import QtQuick
import QtQuick.Layouts
import Vantor

// The update card: the state of the check for a newer Vantor, a button to check again (or
// to download what was found), when the last check found nothing newer, and the running
// version.
ColumnLayout {
    id: updates

    required property UpdaterManager updaterManager

    objectName: "availableUpdatesView"
    spacing: 8

    Text {
        objectName: "updatesTitle"
        text: "Updates"
        color: Theme.text
        font: Typography.headline
        Layout.alignment: Qt.AlignLeft
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }

    CardContainer {
        objectName: "updateCard"

        RowLayout {
            width: parent.width
            spacing: 8

            Symbol {
                objectName: "updateIcon"
                Layout.leftMargin: 12
                name: updates.updaterManager.updateIcon
                color: Theme.color(updates.updaterManager.updateIconColor)
            }
            Text {
                objectName: "updateStatus"
                text: updates.updaterManager.updateStatus
                color: Theme.text
                font: Typography.body
                elide: Text.ElideRight
                Layout.fillWidth: true
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            MainButton {
                objectName: "updateButton"
                Layout.margins: 8
                title: updates.updaterManager.isUpdateAvailable ? "Download" : "Check for updates"
                type: MainButtonType.Primary
                size: MainButtonSize.Small
                onAction: updates.updaterManager.checkForUpdates(!updates.updaterManager.isUpdateAvailable)
            }
        }
    }

    Text {
        objectName: "lastChecked"
        visible: updates.updaterManager.lastCheckedText !== ""
        text: "Last checked for updates: " + updates.updaterManager.lastCheckedText
        color: Theme.secondaryText
        font: Typography.footnote
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    Text {
        objectName: "currentVersion"
        text: "Current version: " + AppVersion.current
        color: Theme.secondaryText
        font: Typography.footnote
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
