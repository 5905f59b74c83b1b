import QtQuick
import QtQuick.Templates as T
import Brindle

// What the buttons have in common. A text that is wider than the button wraps, and the button grows.
T.Button {
    id: control

    property real radius: Theme.buttonRadius
    required property color ink
    required property color fill
    property color edge: "transparent"

    implicitWidth: Math.ceil(Math.max(implicitContentWidth + leftPadding + rightPadding, Theme.buttonHeight * 2))
    implicitHeight: Math.ceil(Math.max(implicitContentHeight + 8, Theme.buttonHeight))
    horizontalPadding: 14
    verticalPadding: 2
    font: Theme.body
    focusPolicy: Qt.StrongFocus
    hoverEnabled: true

    Accessible.role: Accessible.Button
    Accessible.name: text
    // Qt 6.4 tells screen readers of no disabled state.
    Accessible.description: enabled ? "" : "Not available now"
    Accessible.onPressAction: if (enabled) clicked()

    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked() }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked() }

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.ink
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
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
