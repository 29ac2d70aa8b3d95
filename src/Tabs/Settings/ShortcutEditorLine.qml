import QtQuick
import QtQuick.Layouts
import KeyboardShortcuts as KeyboardShortcuts
import Vantor

// One workspace's global shortcut: its name, the recorder for it and "Remove".
RowLayout {
    id: line

    required property WorkspaceObject workspace
    required property string shortcutName

    signal remove()

    spacing: 8

    Text {
        objectName: "shortcutWorkspaceName"
        Layout.fillWidth: true
        text: line.workspace ? line.workspace.name : ""
        elide: Text.ElideRight
        textFormat: Text.PlainText
        color: Theme.text
        font: Typography.body
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    KeyboardShortcuts.Recorder {
        objectName: "shortcutRecorder"
        name: line.shortcutName
    }
    MainButton {
        objectName: "removeShortcutButton"
        title: "Remove"
        type: MainButtonType.Secondary
        size: MainButtonSize.Small
        Accessible.name: "Remove " + (line.workspace ? line.workspace.name : "")
        onAction: line.remove()
    }
}
