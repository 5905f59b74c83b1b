import QtQuick
import QtQuick.Templates as T
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

                T.RadioButton {
                    id: segment

                    required property string modelData
                    required property int index
                    readonly property bool current: index === picker.current

                    objectName: "segment " + modelData
                    text: modelData
                    width: label.implicitWidth + track.spare
                    height: Theme.buttonHeight
                    // One stop for the Tab key; the arrows move on from there.
                    focusPolicy: current ? Qt.StrongFocus : Qt.ClickFocus
                    onClicked: picker.picked(index)
                    Keys.onRightPressed: if (index + 1 < segments.count) segments.itemAt(index + 1).choose()
                    Keys.onLeftPressed: if (index > 0) segments.itemAt(index - 1).choose()
                    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked() }
                    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked() }

                    function choose() {
                        forceActiveFocus(Qt.TabFocusReason);
                        clicked();
                    }

                    Accessible.role: Accessible.RadioButton
                    Accessible.name: text
                    Accessible.onPressAction: clicked()
                    // What screen readers are told.
                    checked: current

                    contentItem: Text {
                        id: label
                        text: segment.text
                        font: Theme.segment
                        fontSizeMode: Text.HorizontalFit
                        minimumPixelSize: 8
                        color: segment.current ? Theme.text : Theme.secondary
                        textFormat: Text.PlainText
                        horizontalAlignment: Text.AlignHCenter
                        verticalAlignment: Text.AlignVCenter
                        Accessible.ignored: true
                    }

                    background: SmoothRectangle {
                        radius: Theme.buttonRadius
                        color: segment.current ? Theme.chosen : "transparent"
                        borderColor: segment.current ? Theme.faceEdge : "transparent"
                        borderWidth: 1

                        FocusRing { shown: segment.visualFocus }
                    }
                }
            }
        }
    }
}
