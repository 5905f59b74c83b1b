import QtQuick

// Lies over a button, its parent, and takes the clicks that begin within the system's double-click
// interval of the button's appearing, by mouse or touch: they were meant for what was there before.
MouseArea {
    id: guard

    // The interval is counted in parts. A moment in which the program is held up is one part at
    // most, so that the clicks that wait behind it do not slip through.
    readonly property int parts: 4
    property int partsLeft: 0
    readonly property bool offered: parent.visible && parent.enabled
    // Whether what is there from the start, with its window, is guarded as well.
    property bool fromTheStart: false

    objectName: "guard"
    anchors.fill: parent
    visible: partsLeft > 0
    onOfferedChanged: partsLeft = offered ? parts : 0
    Component.onCompleted: partsLeft = fromTheStart ? parts : 0

    Timer {
        interval: Math.ceil(Application.styleHints.mouseDoubleClickInterval / guard.parts)
        repeat: true
        running: guard.partsLeft > 0
        onTriggered: --guard.partsLeft
    }
}
