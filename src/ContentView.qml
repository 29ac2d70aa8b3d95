import QtQuick
import QtQuick.Window

// Vantor's main window. Its tabs, "Workspaces" and "Settings", fill it in.
Window {
    id: window
    title: "Vantor"
    width: 800
    height: 500
    minimumWidth: 640
    minimumHeight: 400
    color: palette.window

    SystemPalette { id: palette }
}
