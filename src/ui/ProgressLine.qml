import QtQuick
import QtQuick.Templates as T
import Brindle

// A progress bar. While the fraction is unknown, a short piece wanders to and fro.
T.ProgressBar {
    id: control

    // The position of the wandering piece, from 0 at the left to 1.
    property real place: 0.5
    readonly property alias moving: animation.running
    readonly property bool seen: visible && Window.visibility !== Window.Hidden && Window.visibility !== Window.Minimized

    implicitHeight: 8
    Accessible.name: "Progress"

    // Stops while nobody sees the bar, and when the desktop asks for less motion.
    NumberAnimation {
        id: animation
        target: control
        property: "place"
        running: control.indeterminate && control.seen && !Theme.still
        from: 0
        to: 1
        duration: 2200
        easing.type: Easing.SineCurve
        loops: Animation.Infinite
    }

    background: Rectangle {
        radius: height / 2
        color: Theme.track
    }

    contentItem: Item {
        Rectangle {
            objectName: "fill"
            x: control.indeterminate ? control.place * (parent.width - width) : 0
            width: control.indeterminate ? 0.28 * parent.width : Math.max(control.position * parent.width, control.position > 0 ? height : 0)
            height: parent.height
            radius: height / 2
            color: Theme.accentLine
        }
    }
}
