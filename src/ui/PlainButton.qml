import QtQuick
import QtQuick.Templates as T
import Brindle

// A button of the quiet kind.
T.Button {
    id: control

    property real radius: Theme.buttonRadius

    implicitWidth: Math.ceil(Math.max(implicitContentWidth + leftPadding + rightPadding, Theme.buttonHeight * 2))
    implicitHeight: Theme.buttonHeight
    leftPadding: 14
    rightPadding: 14
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
        color: control.enabled ? Theme.text : Theme.textOff
        textFormat: Text.PlainText
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        Accessible.ignored: true
    }

    background: SmoothRectangle {
        radius: control.radius
        color: !control.enabled ? "transparent"
             : control.down ? Theme.faceDown
             : control.hovered ? Theme.faceHover : Theme.face
        borderColor: Theme.faceEdge
        borderWidth: 1

        FocusRing {
            shown: control.visualFocus
            parentRadius: control.radius
        }
    }
}
