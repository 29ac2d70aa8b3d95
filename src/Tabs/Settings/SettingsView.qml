import QtQuick
import Vantor

// The "Settings" tab. Its shortcuts and update card come next; for now the tab is empty.
Item {
    required property ObjectListModel workspaces

    objectName: "settingsView"
    Accessible.role: Accessible.Pane
    Accessible.name: "Settings"
}
