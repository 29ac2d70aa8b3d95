import QtQuick
import QtQuick.Window
import Vantor

// The main window: "Vantor", fixed at its content's size, the content over a plain backdrop.
Window {
    id: window

    required property ContentViewModel viewModel

    title: "Vantor"
    width: 800
    height: 500
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height
    color: Theme.background

    VisualEffect {
        anchors.fill: parent
    }

    ContentView {
        anchors.fill: parent
        viewModel: window.viewModel
    }
}
