import QtQuick
import Brindle

// The button that stands out, filled with the accent colour.
PlainButton {
    id: control

    // A drawing before the text.
    property string symbol

    ink: enabled ? Theme.accentText : Theme.textOff
    fill: !enabled ? Theme.faceOff : down ? Theme.accentDown : hovered ? Theme.accentHover : Theme.accent
    horizontalPadding: 14
    font: Theme.headline

    contentItem: Item {
        implicitWidth: children[0].implicitWidth
        implicitHeight: children[0].implicitHeight

        Row {
            anchors.centerIn: parent
            spacing: 9

            Symbol {
                visible: name !== ""
                anchors.verticalCenter: parent.verticalCenter
                width: control.font.pixelSize * 0.86
                height: width
                name: control.symbol
                color: control.ink
            }
            Label {
                anchors.verticalCenter: parent.verticalCenter
                content: control.text
                font: control.font
                color: control.ink
                wrapMode: Text.NoWrap
                Accessible.ignored: true
            }
        }
    }
}
