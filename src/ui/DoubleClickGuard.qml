import QtQuick

// Covers its parent for a moment after the parent appears, and takes clicks that were meant for an
// earlier item.
MouseArea {
    id: guard

    // The covered time in milliseconds.
    property int interval: Application.styleHints.mouseDoubleClickInterval
    // Counts the time in parts. A stall ends one part only, so the guard still takes its clicks.
    readonly property int parts: 4
    property int partsLeft: 0
    readonly property bool offered: parent.visible && parent.enabled
    // True to cover also a parent that is visible from the start.
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
