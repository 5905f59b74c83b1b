pragma ComponentBehavior: Bound

import QtQuick
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

    spacing: 6
    Accessible.role: Accessible.Grouping
    Accessible.name: label

    Label {
        text: picker.label
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
                Text {
                    required property string modelData
                    text: modelData
                    font: Theme.segment
                    textFormat: Text.PlainText
                    Accessible.ignored: true
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

                Segment {
                    required property string modelData
                    required property int index

                    objectName: "segment " + modelData
                    text: modelData
                    current: index === picker.current
                    spare: Math.max(track.spare, track.least)
                    onClicked: picker.picked(index)
                    onNext: (segments.itemAt(index + 1) as Segment)?.choose()
                    onPrevious: (segments.itemAt(index - 1) as Segment)?.choose()
                }
            }
        }
    }
}
