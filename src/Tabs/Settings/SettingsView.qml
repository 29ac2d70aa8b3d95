import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Vantor

// The "Settings" tab: the workspaces' global shortcuts (record, remove, add, reset to the
// defaults) and the update card, scrolling when they do not fit.
Item {
    id: settings

    required property SettingsViewModel viewModel
    required property UpdaterManager updaterManager
    property bool isAddingWorkspace: false
    property bool isResetShortcutsPresented: false

    objectName: "settingsView"
    Accessible.role: Accessible.Pane
    Accessible.name: "Settings"

    ScrollView {
        id: scroller

        objectName: "settingsScroller"
        anchors.fill: parent
        contentWidth: availableWidth

        ColumnLayout {
            width: scroller.availableWidth
            spacing: 12

            ColumnLayout {
                Layout.margins: 16
                Layout.bottomMargin: 0
                spacing: 2

                Text {
                    text: "Shortcuts"
                    color: Theme.text
                    font: Typography.title
                    Accessible.role: Accessible.Heading
                    Accessible.name: text
                }
                Text {
                    text: "Set shortcuts to quickly switch between workspaces"
                    color: Theme.secondaryText
                    font: Typography.body
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
            }

            Repeater {
                model: settings.viewModel.shortcutLines

                ShortcutEditorLine {
                    Layout.fillWidth: true
                    Layout.leftMargin: 16
                    Layout.rightMargin: 16
                    shortcutName: settings.viewModel.shortcutName(workspace) // qmllint disable unqualified
                    onRemove: settings.viewModel.removeShortcut(workspace) // qmllint disable unqualified
                }
            }

            AddShortcutLine {
                objectName: "addShortcutLine"
                visible: settings.isAddingWorkspace
                Layout.fillWidth: true
                Layout.leftMargin: 16
                Layout.rightMargin: 16
                viewModel: settings.viewModel
                onSaved: settings.isAddingWorkspace = false
            }

            RowLayout {
                Layout.leftMargin: 16
                spacing: 8

                MainButton {
                    objectName: "addShortcutButton"
                    enabled: !settings.isAddingWorkspace
                    title: "Add shortcut"
                    type: MainButtonType.Primary
                    size: MainButtonSize.Medium
                    onAction: settings.isAddingWorkspace = true
                }
                MainButton {
                    objectName: "resetShortcutsButton"
                    title: "Reset to default"
                    type: MainButtonType.Secondary
                    size: MainButtonSize.Medium
                    onAction: settings.isResetShortcutsPresented = true
                }
            }

            AvailableUpdatesView {
                updaterManager: settings.updaterManager
                Layout.fillWidth: true
                Layout.margins: 16
            }

            Item {
                Layout.fillHeight: true
            }
        }
    }

    DeleteConfirmationSheet {
        objectName: "resetSheet"
        visible: settings.isResetShortcutsPresented
        title: "Woah there!"
        icon: "keyboard"
        message: "Reset all your shortcuts to factory settings? Bold move. Say goodbye to your custom setup."
        confirmButtonTitle: "Reset shortcuts"
        onCancel: settings.isResetShortcutsPresented = false
        onConfirm: {
            settings.isResetShortcutsPresented = false
            settings.viewModel.resetToDefaults()
        }
    }
}
