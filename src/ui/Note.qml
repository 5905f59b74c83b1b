import QtQuick
import Brindle

// A text in the middle of a column.
Label {
    width: parent.width
    font: Theme.callout
    color: Theme.secondary
    horizontalAlignment: Text.AlignHCenter
}
