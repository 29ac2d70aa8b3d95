import QtQuick
import Vantor

// The window's backdrop: a plain background in the `background` colour.
Rectangle {
    color: Theme.background
}
