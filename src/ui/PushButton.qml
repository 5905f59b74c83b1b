import QtQuick
import QtQuick.Templates as T
import Brindle

// A button. A long text wraps, and the button grows.
T.Button {
    id: control

    // True to fill the button with the accent colour.
    property bool prominent: false
    // True if the button removes something for good.
    property bool destructive: false
    property real radius: Theme.buttonRadius
    property int alignment: Text.AlignHCenter
    property color ink: !enabled ? Theme.textOff : prominent ? Theme.accentText : destructive ? Theme.errorText : Theme.text
    property color fill: !enabled ? Theme.faceOff
        : prominent ? (down ? Theme.accentDown : hovered ? Theme.accentHover : Theme.accent)
        : down ? Theme.faceDown : hovered ? Theme.faceHover : Theme.face

    implicitWidth: Math.ceil(Math.max(implicitContentWidth + leftPadding + rightPadding, Theme.buttonHeight * 2))
    implicitHeight: Math.ceil(Math.max(implicitContentHeight + 8, Theme.buttonHeight))
    horizontalPadding: 12
    font: prominent ? Theme.headline : Theme.body
    focusPolicy: Qt.StrongFocus
    hoverEnabled: true

    Accessible.name: DisplayText.of(text)
    // Qt 6.4 does not report the disabled state.
    Accessible.description: enabled ? "" : "Not available now"
    Accessible.onPressAction: if (enabled) clicked()

    // A held key counts as one press.
    Keys.onSpacePressed: event => event.accepted = event.isAutoRepeat
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked() }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked() }

    contentItem: Label {
        content: control.text
        font: control.font
        color: control.ink
        horizontalAlignment: control.alignment
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }

    background: SmoothRectangle {
        radius: control.radius
        color: control.fill

        FocusRing {
            target: control
            parentRadius: control.radius
        }
    }
}
