import QtQuick
import QtQuick.Templates as T
import Brindle

// A button of the quiet kind. A text that is wider than the button wraps, and the button grows.
T.Button {
    id: control

    // Takes away what can't be had back at once.
    property bool destructive: false
    property real radius: Theme.buttonRadius
    property color ink: !enabled ? Theme.textOff : destructive ? Theme.errorText : Theme.text
    property color fill: !enabled ? "transparent" : down ? Theme.faceDown : hovered ? Theme.faceHover : Theme.face
    property color edge: !enabled ? Theme.hairline : destructive ? Theme.errorText : Theme.faceEdge

    implicitWidth: Math.ceil(Math.max(implicitContentWidth + leftPadding + rightPadding, Theme.buttonHeight * 2))
    implicitHeight: Math.ceil(Math.max(implicitContentHeight + 8, Theme.buttonHeight))
    horizontalPadding: 14
    verticalPadding: 2
    font: Theme.body
    focusPolicy: Qt.StrongFocus
    hoverEnabled: true

    Accessible.role: Accessible.Button
    Accessible.name: DisplayText.of(text)
    // Qt 6.4 tells screen readers of no disabled state.
    Accessible.description: enabled ? "" : "Not available now"
    Accessible.onPressAction: if (enabled) clicked()

    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked() }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked() }

    contentItem: Label {
        content: control.text
        font: control.font
        color: control.ink
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }

    background: SmoothRectangle {
        radius: control.radius
        color: control.fill
        borderColor: control.edge
        borderWidth: 1

        FocusRing {
            shown: control.visualFocus
            parentRadius: control.radius
        }
    }
}
