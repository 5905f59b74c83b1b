import QtQuick
import Brindle

// A column with a fixed row below it. The column scrolls where it has too little height.
SheetView {
    id: body

    default property alias contents: column.data
    property alias footer: footer.data
    property alias spacing: column.spacing
    property real padding: 20
    // The distance between the column and the row below.
    property real gap: spacing

    implicitHeight: Math.ceil(column.height + gap + footer.height + 2 * padding)
    Keys.forwardTo: [scroller]

    FocusKeeper {}

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
