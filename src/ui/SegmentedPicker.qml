pragma ComponentBehavior: Bound

import QtQuick
import Brindle

// One of a few, all of them in sight.
Column {
    id: picker

    required property string label
    required property var options
    required property int current
    signal picked(int index)

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
        // What is left over when every segment is as wide as its text asks for.
        readonly property real spare: (width - 2 * inset - natural.width) / picker.options.length

        width: picker.width
        height: Theme.buttonHeight + 2 * inset
        radius: Theme.buttonRadius + inset
        color: Theme.track

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

        Row {
            x: track.inset
            y: track.inset

            Repeater {
                id: segments
                model: picker.options

                Segment {
                    required property string modelData
                    required property int index

                    objectName: "segment " + modelData
                    text: modelData
                    current: index === picker.current
                    spare: track.spare
                    onClicked: picker.picked(index)
                    onNext: (segments.itemAt(index + 1) as Segment)?.choose()
                    onPrevious: (segments.itemAt(index - 1) as Segment)?.choose()
                }
            }
        }
    }
}
