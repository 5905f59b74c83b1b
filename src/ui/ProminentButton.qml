import QtQuick
import QtQuick.Templates as T
import Brindle

// The button that stands out, filled with the accent colour.
T.Button {
    id: control

    property bool hasSymbol: false
    property int symbol: Drawing.Play
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

    readonly property color ink: enabled ? Theme.onAccent : Theme.onAccentOff

    contentItem: Item {
        implicitWidth: children[0].implicitWidth
        implicitHeight: children[0].implicitHeight

        Row {
            anchors.centerIn: parent
            spacing: 9

            Drawing {
                visible: control.hasSymbol
                anchors.verticalCenter: parent.verticalCenter
                width: control.font.pixelSize * 0.86
                height: width
                shape: control.symbol
                color: control.ink
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: control.text
                font: control.font
                color: control.ink
                textFormat: Text.PlainText
                Accessible.ignored: true
            }
        }
    }

    background: SmoothRectangle {
        radius: control.radius
        color: !control.enabled ? Theme.accentOff
             : control.down || control.hovered ? Theme.accentDown : Theme.accent

        FocusRing {
            shown: control.visualFocus
            parentRadius: control.radius
        }
    }
}
