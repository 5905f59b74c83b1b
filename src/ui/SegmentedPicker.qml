pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T
import Brindle

// Lets the player choose one of a few options, in one row, or in several if one has no room.
Column {
    id: picker

    required property string label
    required property var options
    required property int current
    signal picked(int index)

    // The width for all options in one row.
    readonly property real naturalWidth: Math.ceil(texts + options.length * track.least + 2 * track.inset)

    // The width of all texts together.
    readonly property real texts: Array.from(flow.children).reduce((sum, child) => sum + (child.implicitContentWidth ?? 0), 0)

    function choose(index) {
        const segment = segments.itemAt(index);
        if (segment) {
            segment.forceActiveFocus(Qt.TabFocusReason);
            picked(index);
        }
    }

    spacing: 6
    Accessible.role: Accessible.Grouping
    Accessible.name: heading.text

    Label {
        id: heading
        content: picker.label
        Accessible.ignored: true
    }

    SmoothRectangle {
        id: track

        readonly property real inset: 2
        // A segment's smallest padding, left and right together.
        readonly property real least: 12
        // The padding with which the segments fill the row.
        readonly property real spare: (width - 2 * inset - picker.texts) / picker.options.length

        width: picker.width
        height: flow.height + 2 * inset
        radius: Theme.buttonRadius + inset
        color: Theme.track

        Flow {
            id: flow
            x: track.inset
            y: track.inset
            // With half a pixel more, rounding does not wrap the last segment.
            width: parent.width - 2 * track.inset + 0.5

            Repeater {
                id: segments
                model: picker.options

                T.RadioButton {
                    id: segment

                    required property string modelData
                    required property int index
                    readonly property bool current: index === picker.current

                    objectName: "segment " + modelData
                    width: implicitContentWidth + Math.max(track.spare, track.least)
                    height: Theme.buttonHeight
                    // Let the focus ring cover the neighbours.
                    z: activeFocus ? 1 : 0
                    text: modelData
                    hoverEnabled: true
                    checked: current // for screen readers
                    // The Tab key stops here once; the arrow keys move on.
                    focusPolicy: current ? Qt.StrongFocus : Qt.ClickFocus
                    onClicked: picker.picked(index)
                    Keys.onRightPressed: picker.choose(index + 1)
                    Keys.onLeftPressed: picker.choose(index - 1)
                    Accessible.name: DisplayText.of(text)
                    Accessible.onPressAction: clicked()

                    contentItem: Label {
                        content: segment.text
                        font: Theme.segment
                        wrapMode: Text.NoWrap
                        color: segment.current || segment.hovered ? Theme.text : Theme.secondary
                        horizontalAlignment: Text.AlignHCenter
                        verticalAlignment: Text.AlignVCenter
                        Accessible.ignored: true
                    }

                    background: SmoothRectangle {
                        radius: Theme.buttonRadius
                        color: segment.current ? segment.down ? Theme.chosenDown : Theme.chosen
                            : segment.down ? Theme.faceDown : segment.hovered ? Theme.face : "transparent"
                        borderColor: segment.current ? Theme.chosenEdge : "transparent"

                        FocusRing { target: segment }
                    }
                }
            }
        }
    }
}
