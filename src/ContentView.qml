import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Vantor

// The main window's content: a divider line, then the tab bar with "Workspaces" and
// "Settings" and the screen of the chosen tab.
Item {
    id: contentView

    required property ContentViewModel viewModel

    implicitWidth: 800
    implicitHeight: 500

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        Rectangle {
            objectName: "topDivider"
            Layout.fillWidth: true
            implicitHeight: 1
            color: Theme.border
        }

        TabBar {
            id: tabs

            objectName: "tabs"
            Layout.fillWidth: true
            spacing: 0
            Accessible.name: "Tabs"
            background: Rectangle {
                color: Theme.backgroundTopBar
            }

            MainTabButton {
                objectName: "workspacesTab"
                text: "Workspaces"
                symbol: "square.grid.2x2"
            }
            MainTabButton {
                objectName: "settingsTab"
                text: "Settings"
                symbol: "gearshape"
            }
        }

        StackLayout {
            objectName: "tabContent"
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: tabs.currentIndex

            WorkspaceView {
                viewModel: contentView.viewModel.workspaceViewModel
            }
            SettingsView {
                viewModel: contentView.viewModel.settingsViewModel
                updaterManager: contentView.viewModel.updaterManager
            }
        }
    }
}
