import QtQuick

// The update card's place on the Settings tab. Vantor does not check for updates yet; the
// card comes with the update checker.
Item {
    objectName: "availableUpdatesView"
}
