import QtQuick
import Brindle

// A rounded box around a column.
SmoothRectangle {
    id: box

    default property alias contents: column.data
    property alias spacing: column.spacing
    property real padding: 12

    width: parent.width
    height: column.height + 2 * padding
    radius: Theme.boxRadius

    Column {
        id: column
        x: box.padding
        y: box.padding
        width: box.width - 2 * box.padding
    }
}
