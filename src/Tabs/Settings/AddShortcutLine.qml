import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import KeyboardShortcuts as KeyboardShortcuts
import Vantor

// The line that gives one more workspace a shortcut: pick the workspace, record its
// shortcut, "Save".
RowLayout {
    id: line

    required property SettingsViewModel viewModel
    property WorkspaceObject selectedWorkspaceToAdd: null

    signal saved()

    spacing: 8

    ComboBox {
        id: picker

        objectName: "workspacePicker"
        Layout.preferredWidth: 300
        model: line.viewModel.workspacesWithoutShortcut
        currentIndex: -1
        displayText: line.selectedWorkspaceToAdd ? line.selectedWorkspaceToAdd.name : "Select a workspace"
        Accessible.name: "Select a workspace"
        onActivated: (index) => line.selectedWorkspaceToAdd = line.viewModel.workspacesWithoutShortcut.at(index)

        // Vantor's own chevron: the style's one is a cached image.
        indicator: Symbol {
            x: picker.width - width - 8
            y: (picker.height - height) / 2
            rotation: -90
            name: "chevron.left"
            color: Theme.secondaryText
            size: 12
        }

        delegate: ItemDelegate {
            required property WorkspaceObject workspace
            required property int index

            width: ListView.view.width
            text: workspace ? workspace.name : ""
            highlighted: ListView.view.currentIndex === index
        }
    }
    KeyboardShortcuts.Recorder {
        objectName: "addShortcutRecorder"
        visible: line.selectedWorkspaceToAdd !== null
        name: line.viewModel.shortcutName(line.selectedWorkspaceToAdd)
    }
    Item {
        Layout.fillWidth: true
    }
    MainButton {
        objectName: "saveShortcutButton"
        title: "Save"
        type: MainButtonType.Primary
        size: MainButtonSize.Small
        onAction: {
            if (line.viewModel.save(line.selectedWorkspaceToAdd)) {
                line.selectedWorkspaceToAdd = null
                line.saved()
            }
        }
    }
}
