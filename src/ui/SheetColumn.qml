import QtQuick
import Brindle

// A column of texts and controls, with a row below it that is always in sight. Where it is given
// less height than it asks for, the column scrolls, and follows the keyboard's focus.
FocusScope {
    id: body

    default property alias contents: column.data
    property alias footer: footer.data
    property alias spacing: column.spacing
    property real padding: 20
    // Between the column and the row below it.
    property real gap: spacing

    implicitHeight: Math.ceil(column.height + gap + footer.height + 2 * padding)
    focus: true
    Keys.forwardTo: [scroller]

    FocusScroller {
        scroller: scroller
    }

    Scroller {
        id: scroller
        objectName: "sheetScroller"
        width: parent.width
        height: Math.max(0, footer.y)
        contentHeight: body.padding + column.height + body.gap

        Column {
            id: column
            x: body.padding
            y: body.padding
            width: body.width - 2 * body.padding
        }
    }

    Divider {
        anchors.bottom: scroller.bottom
        visible: scroller.contentHeight > scroller.height
    }

    Item {
        id: footer
        objectName: "footer"
        x: body.padding
        y: body.height - height - body.padding
        width: body.width - 2 * body.padding
        height: childrenRect.height
    }
}
