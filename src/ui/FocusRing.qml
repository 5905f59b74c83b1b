import QtQuick
import Brindle

// Draws a ring around its parent while the next key press would reach `target`.
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
