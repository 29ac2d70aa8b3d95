import QtQml

// The button of an InfoView: its title, and what a press does.
QtObject {
    required property string title

    signal clicked()
}
