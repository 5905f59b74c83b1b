pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T
import Brindle

// Chooses one of a few options, in one row or, where that has no room, in several.
Column {
    id: picker

    required property string label
    required property var options
    required property int current
    signal picked(int index)

    // The width of all options in one row.
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
        // A segment's smallest padding, both sides together.
        readonly property real least: 12
        // The padding that fills the row.
        readonly property real spare: (width - 2 * inset - natural.width) / picker.options.length

        width: picker.width
        height: flow.height + 2 * inset
        radius: Theme.buttonRadius + inset
        color: Theme.track

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
            // Nothing may wrap because of a rounded fraction.
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
                    // Its focus ring covers the neighbours.
                    z: activeFocus ? 1 : 0
                    text: modelData
                    hoverEnabled: true
                    checked: current // for screen readers
                    // One stop for the Tab key. The arrows move on from there.
                    focusPolicy: current ? Qt.StrongFocus : Qt.ClickFocus
                    onClicked: picker.picked(index)
                    Keys.onRightPressed: picker.choose(index + 1)
                    Keys.onLeftPressed: picker.choose(index - 1)
                    Accessible.role: Accessible.RadioButton
                    Accessible.name: DisplayText.of(text)
                    Accessible.onPressAction: clicked()

                    contentItem: Choice {
                        content: segment.text
                        color: segment.current || segment.hovered ? Theme.text : Theme.secondary
                        horizontalAlignment: Text.AlignHCenter
                        verticalAlignment: Text.AlignVCenter
                    }

                    background: SmoothRectangle {
                        radius: Theme.buttonRadius
                        color: segment.down && segment.current ? Theme.chosenDown : segment.current ? Theme.chosen
                            : segment.down ? Theme.faceDown : segment.hovered ? Theme.face : "transparent"
                        borderColor: segment.current ? Theme.chosenEdge : "transparent"
                        borderWidth: 1

                        FocusRing { target: segment }
                    }
                }
            }
        }
    }
}
