import QtQuick
import Brindle

// Lies around its parent and shows that the keyboard's focus is there.
SmoothRectangle {
    required property bool shown
    property real parentRadius: Theme.buttonRadius

    anchors.fill: parent
    anchors.margins: -3
    radius: parentRadius + 3
    borderColor: Theme.focusRing
    borderWidth: 3
    visible: shown
}
