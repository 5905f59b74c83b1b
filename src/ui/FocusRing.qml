import QtQuick
import Brindle

// Lies around its parent, with a gap, and shows that the keyboard's focus is there.
SmoothRectangle {
    required property bool shown
    property real parentRadius: Theme.buttonRadius

    anchors.fill: parent
    anchors.margins: -4
    radius: parentRadius + 4
    borderColor: Theme.accentLine
    borderWidth: 2
    visible: shown
}
