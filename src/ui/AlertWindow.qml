pragma ComponentBehavior: Bound

import QtQuick
import Brindle

// A question or notice. Return presses the first button; Escape and closing press the last one.
Window {
    id: window

    required property string message
    required property string informativeText
    required property var buttons
    signal answered(int index)

    title: "Brindle"
    flags: (Qt.platform.os === "osx" ? Qt.Sheet : Qt.Dialog) | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
    modality: transientParent ? Qt.WindowModal : Qt.ApplicationModal
    color: Theme.window
    width: 420
    height: column.height + 40
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height

    onClosing: answered(buttons.length - 1)

    Column {
        id: column
        x: 20
        y: 20
        width: parent.width - 40
        spacing: 8

        Label {
            objectName: "alertMessage"
            width: parent.width
            text: window.message
            font: Theme.headline
            Accessible.role: Accessible.AlertMessage
        }
        Label {
            objectName: "alertText"
            width: parent.width
            text: window.informativeText
            font: Theme.callout
            color: Theme.secondary
        }
        Item {
            width: 1
            height: 4
        }
        // The first, which means yes, stands at the right edge.
        Row {
            anchors.right: parent.right
            layoutDirection: Qt.RightToLeft
            spacing: Theme.buttonSpacing

            ProminentButton {
                id: first
                objectName: "alertButton0"
                focus: true
                text: window.buttons[0]
                onClicked: window.answered(0)
            }
            Repeater {
                model: window.buttons.slice(1)

                PlainButton {
                    required property string modelData
                    required property int index
                    objectName: "alertButton" + (index + 1)
                    text: modelData
                    onClicked: window.answered(index + 1)
                }
            }
        }
    }

    Shortcut {
        sequences: ["Return", "Enter"]
        onActivated: first.clicked()
    }
    Shortcut {
        sequences: ["Escape", "Ctrl+W"]
        onActivated: window.answered(window.buttons.length - 1)
    }
}
