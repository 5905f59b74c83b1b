pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T
import Brindle

// One of a few, all of them in sight: in one row, or in several where one has no room for them.
Column {
    id: picker

    required property string label
    required property var options
    required property int current
    signal picked(int index)

    // What one row takes.
    readonly property real naturalWidth: Math.ceil(natural.width + options.length * track.least + 2 * track.inset)

    function choose(index) {
        const segment = segments.itemAt(index);
        if (segment) {
            segment.forceActiveFocus(Qt.TabFocusReason);
            picked(index);
        }
    }

    component Choice: Label {
        font: Theme.segment
        wrapMode: Text.NoWrap
        Accessible.ignored: true
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
        // The least that a segment is wider than its text.
        readonly property real least: 12
        // What is left over when every segment is as wide as its text.
        readonly property real spare: (width - 2 * inset - natural.width) / picker.options.length

        width: picker.width
        height: flow.height + 2 * inset
        radius: Theme.buttonRadius + inset
        color: Theme.track
        borderColor: Theme.faceEdge
        borderWidth: 1

        Row {
            id: natural
            opacity: 0
            Repeater {
                model: picker.options
                Choice {
                    required property string modelData
                    content: modelData
                }
            }
        }

        Flow {
            id: flow
            x: track.inset
            y: track.inset
            // All that is spare has been given away: nothing may wrap for want of a fraction.
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
                    // Its focus ring lies over the neighbours.
                    z: visualFocus ? 1 : 0
                    text: modelData
                    // What screen readers are told.
                    checked: current
                    // One stop for the Tab key; the arrows move on from there.
                    focusPolicy: current ? Qt.StrongFocus : Qt.ClickFocus
                    onClicked: picker.picked(index)
                    Keys.onRightPressed: picker.choose(index + 1)
                    Keys.onLeftPressed: picker.choose(index - 1)
                    Accessible.role: Accessible.RadioButton
                    Accessible.name: DisplayText.of(text)
                    Accessible.onPressAction: clicked()

                    contentItem: Choice {
                        content: segment.text
                        color: segment.current ? Theme.text : Theme.secondary
                        horizontalAlignment: Text.AlignHCenter
                        verticalAlignment: Text.AlignVCenter
                    }

                    background: SmoothRectangle {
                        radius: Theme.buttonRadius
                        color: segment.current ? Theme.chosen : "transparent"
                        borderColor: segment.current ? Theme.accentLine : "transparent"
                        borderWidth: 1.5

                        FocusRing { shown: segment.visualFocus }
                    }
                }
            }
        }
    }
}
