import QtQuick
import Brindle

// A ring around its parent while the keyboard's next press goes to `target`.
SmoothRectangle {
    required property Item target
    property real parentRadius: Theme.buttonRadius
    // The distance from the parent.
    readonly property real gap: 3

    anchors.fill: parent
    anchors.margins: -gap
    radius: parentRadius + gap
    borderColor: Theme.accentLine
    borderWidth: 2
    visible: target.activeFocus && Accessibility.keyboard
}
