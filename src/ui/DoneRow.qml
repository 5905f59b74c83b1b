import QtQuick
import Brindle

// The last row of a sheet: Done, at the right.
Item {
    readonly property alias button: button
    signal done()

    width: parent.width
    height: button.height

    ProminentButton {
        id: button
        objectName: "doneButton"
        anchors.right: parent.right
        focus: true
        text: "Done"
        Accessible.defaultButton: true
        onClicked: parent.done()
    }
}
