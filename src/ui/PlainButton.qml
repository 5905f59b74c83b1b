import QtQuick
import Brindle

// A button of the quiet kind.
PushButton {
    // Takes away what can't be had back at once.
    property bool destructive: false

    ink: !enabled ? Theme.textOff : destructive ? Theme.errorText : Theme.text
    fill: !enabled ? "transparent" : down ? Theme.faceDown : hovered ? Theme.faceHover : Theme.face
    edge: !enabled ? Theme.hairline : destructive ? Theme.errorText : Theme.faceEdge
}
