import QtQuick

// A piece of a progress bar that goes to and fro while it can be seen.
Rectangle {
    id: wanderer

    required property real range

    radius: height / 2

    SequentialAnimation on x {
        running: wanderer.visible
        loops: Animation.Infinite
        NumberAnimation {
            from: 0
            to: wanderer.range
            duration: 1100
            easing.type: Easing.InOutSine
        }
        NumberAnimation {
            from: wanderer.range
            to: 0
            duration: 1100
            easing.type: Easing.InOutSine
        }
    }
}
