import QtQuick
import Brindle

// A text in the middle of the column that it belongs to.
Label {
    width: parent.width
    font: Theme.callout
    color: Theme.secondary
    horizontalAlignment: Text.AlignHCenter
}
