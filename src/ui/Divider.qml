import QtQuick
import Brindle

// A thin line across a sheet.
Rectangle {
    objectName: "divider"
    width: parent.width
    height: 1
    color: Theme.hairline
}
