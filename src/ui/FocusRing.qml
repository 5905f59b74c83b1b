import QtQuick
import Brindle

// Shows, around its parent, that the keyboard's next press goes to the control.
SmoothRectangle {
    required property Item target
    property real parentRadius: Theme.buttonRadius
    // Outside the parent; negative for a ring inside it.
    property real gap: 3

    anchors.fill: parent
    anchors.margins: -gap
    radius: parentRadius + gap
    borderColor: Theme.accentLine
    borderWidth: 2
    visible: target.activeFocus && Accessibility.keyboard
}
