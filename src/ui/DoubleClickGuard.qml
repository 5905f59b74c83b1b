import QtQuick

// Covers its parent for a moment after the parent appears, and takes the clicks that were meant for
// whatever was there before.
MouseArea {
    id: guard

    // In milliseconds.
    property int interval: Application.styleHints.mouseDoubleClickInterval
    // A stalled program loses one part at most, so the clicks queued behind the stall are taken.
    readonly property int parts: 4
    property int partsLeft: 0
    readonly property bool offered: parent.visible && parent.enabled
    // Whether it also covers a parent that is there from the start.
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
