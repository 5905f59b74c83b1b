import QtQuick
import Brindle

// Shows a small text, centred in a column.
Label {
    width: parent.width
    font: Theme.callout
    color: Theme.secondary
    horizontalAlignment: Text.AlignHCenter
}
