import QtQuick
import Vantor

// One of Vantor's monochrome symbols (e.g. "gearshape"), drawn in `color`.
VectorImage {
    required property string name
    property int size: 16

    width: size
    height: size
    implicitWidth: size
    implicitHeight: size
    source: name === "" ? "" : ":/symbols/" + name + ".svg"
    color: "black"
    Accessible.ignored: true
}
