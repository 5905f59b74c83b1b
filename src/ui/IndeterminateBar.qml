import QtQuick

// The piece of a progress bar that says that there is progress, and not how much. It goes to and
// fro while it can be seen, and rests where the desktop asks for less motion.
Rectangle {
    id: bar

    required property real range
    // Qt 6.12 is the first to tell.
    readonly property var hints: Application.styleHints
    property bool still: (hints.accessibility?.motionPreference ?? 0) !== 0
    readonly property alias moving: animation.running
    readonly property bool seen: visible && Window.visibility !== Window.Hidden && Window.visibility !== Window.Minimized

    x: range / 2
    radius: height / 2

    SequentialAnimation on x {
        id: animation
        running: bar.seen && !bar.still
        loops: Animation.Infinite
        NumberAnimation {
            from: 0
            to: bar.range
            duration: 1100
            easing.type: Easing.InOutSine
        }
        NumberAnimation {
            from: bar.range
            to: 0
            duration: 1100
            easing.type: Easing.InOutSine
        }
    }
}
