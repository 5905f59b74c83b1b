import QtQuick
import QtQuick.Templates as T
import Brindle

// A progress bar. Without a known fraction, a piece wanders along it.
T.ProgressBar {
    id: control

    property string description: ""

    implicitWidth: 200
    implicitHeight: 8
    Accessible.role: Accessible.ProgressBar
    Accessible.name: "Progress"
    Accessible.description: description

    // Moves to and fro while the window is visible, unless the desktop asks for less motion.
    component IndeterminateBar: Rectangle {
        id: piece

        required property real range
        readonly property alias moving: animation.running
        readonly property bool seen: visible && Window.visibility !== Window.Hidden && Window.visibility !== Window.Minimized

        x: range / 2

        SequentialAnimation on x {
            id: animation
            running: piece.seen && !Theme.still
            loops: Animation.Infinite
            NumberAnimation {
                from: 0
                to: piece.range
                duration: 1100
                easing.type: Easing.InOutSine
            }
            NumberAnimation {
                from: piece.range
                to: 0
                duration: 1100
                easing.type: Easing.InOutSine
            }
        }
    }

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
            radius: height / 2
            range: control.availableWidth - width
            color: Theme.accentLine
        }
    }
}
