import QtQuick
import Vantor

// One of Vantor's illustrations (e.g. "dashboardEmpty") in the light or dark variant that
// matches the desktop, drawn sharp at the item's size.
VectorImage {
    required property string name

    source: ":/illustrations/" + name + (Theme.isDark ? "-dark" : "-light") + ".svg"
    Accessible.ignored: true
}
