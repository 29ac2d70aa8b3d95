import QtQuick
import QtQuick.Window
import KeyboardShortcuts as KeyboardShortcuts

// Two recorders, for the recorder's tests: the control alone, without the rest of Vantor.
Window {
    width: 520
    height: 360
    visible: true
    title: "Recorder host"

    Column {
        x: 40
        y: 40
        spacing: 40

        KeyboardShortcuts.Recorder {
            objectName: "first"
            name: "recorderFirst"
            title: "First"
        }

        KeyboardShortcuts.Recorder {
            objectName: "second"
            name: "recorderSecond"
            title: "Second"
        }
    }
}
