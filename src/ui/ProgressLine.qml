import QtQuick
import QtQuick.Templates as T
import Brindle

// A linear progress bar; without a known fraction, a piece that wanders along it.
T.ProgressBar {
    id: control

    implicitWidth: 200
    implicitHeight: 6
    readonly property string accessibleName: "Progress"
    Accessible.role: Accessible.ProgressBar
    Accessible.name: accessibleName

    background: Rectangle {
        radius: height / 2
        color: Theme.track
    }

    contentItem: Item {
        clip: true

        Rectangle {
            visible: !control.indeterminate
            width: Math.max(control.visualPosition * parent.width, control.visualPosition > 0 ? height : 0)
            height: parent.height
            radius: height / 2
            color: Theme.accentLine
        }

        IndeterminateBar {
            objectName: "indeterminateBar"
            visible: control.indeterminate
            width: parent.width * 0.28
            height: parent.height
            range: control.availableWidth - width
            color: Theme.accentLine
        }
    }
}
