import QtQuick
import Brindle

// Draws the coloured banner at the window's top.
SmoothRectangle {
    height: 130
    radius: 14
    gradient: [Qt.rgba(0.08, 0.12, 0.30), Qt.rgba(0.55, 0.20, 0.35), Qt.rgba(0.95, 0.55, 0.20)]

    Symbol {
        objectName: "heroSymbol"
        anchors.centerIn: parent
        // The symbol's width, and room for the shadow.
        width: 110 + 4 * shadowRadius
        height: width
        name: "flags"
        color: Qt.rgba(1, 1, 1, 0.92)
        shadowColor: Qt.rgba(0, 0, 0, 0.33)
        shadowRadius: 6
    }
}
