import QtQuick
import QtQuick.Templates as T
import Brindle

// A linear progress bar; without a known fraction, a piece that wanders along it.
T.ProgressBar {
    id: control

    implicitWidth: 200
    implicitHeight: 6
    readonly property string accessibleName: "Progress"
    // Said of it on demand: to a screen reader, and to a pointer that rests on it.
    property string description: ""
    // The width of what is written in the middle below it.
    property real caption: 0
    Accessible.role: Accessible.ProgressBar
    Accessible.name: accessibleName
    Accessible.description: description

    HoverHandler {
        id: pointer
        margin: 10 // the bar is thin
    }

    T.ToolTip {
        objectName: "progressTip"
        parent: control
        visible: pointer.hovered && control.description !== ""
        delay: 400
        // Near the pointer, and beside the caption.
        x: {
            const middle = control.width / 2;
            const away = control.caption / 2 + 8;
            const at = pointer.point.position.x;
            return Math.round(at < middle ? Math.min(at - width / 2, middle - away - width) : Math.max(at - width / 2, middle + away));
        }
        y: control.height + 3
        margins: 6
        horizontalPadding: 8
        verticalPadding: 3
        implicitWidth: implicitContentWidth + leftPadding + rightPadding
        implicitHeight: implicitContentHeight + topPadding + bottomPadding
        closePolicy: T.Popup.CloseOnEscape

        contentItem: Label {
            content: control.description
            font: Theme.caption
            Accessible.ignored: true
        }
        background: SmoothRectangle {
            objectName: "progressTipFace"
            radius: Theme.buttonRadius
            color: Theme.face
            borderColor: Theme.faceEdge
            borderWidth: 1
        }
    }

    // It goes to and fro while it can be seen, and rests where the desktop asks for less motion.
    component IndeterminateBar: Rectangle {
        id: piece

        required property real range
        // Qt 6.12 is the first to tell.
        readonly property var hints: Application.styleHints
        property bool still: (hints.accessibility?.motionPreference ?? 0) !== 0
        readonly property alias moving: animation.running
        readonly property bool seen: visible && Window.visibility !== Window.Hidden && Window.visibility !== Window.Minimized

        x: range / 2

        SequentialAnimation on x {
            id: animation
            running: piece.seen && !piece.still
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
