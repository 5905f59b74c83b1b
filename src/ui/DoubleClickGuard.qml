import QtQuick

// Covers its parent for a moment after the parent appears. Takes the clicks that were meant for the
// item that was there before.
MouseArea {
    id: guard

    // In milliseconds.
    property int interval: Application.styleHints.mouseDoubleClickInterval
    // After a stall, one part at most is over, so the guard still takes the clicks of that time.
    readonly property int parts: 4
    property int partsLeft: 0
    readonly property bool offered: parent.visible && parent.enabled
    // Also covers a parent that is visible from the start.
    property bool fromTheStart: false

    objectName: "guard"
    anchors.fill: parent
    z: 1
    visible: partsLeft > 0
    onOfferedChanged: partsLeft = offered ? parts : 0
    Component.onCompleted: partsLeft = fromTheStart ? parts : 0

    Timer {
        interval: Math.ceil(guard.interval / guard.parts)
        repeat: true
        running: guard.partsLeft > 0
        onTriggered: --guard.partsLeft
    }
}
