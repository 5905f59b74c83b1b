pragma ComponentBehavior: Bound

import QtQuick
import Brindle

// A question or notice. Return presses the first button; Escape and closing press the last one.
FittedWindow {
    id: window

    required property string message
    required property string informativeText
    required property var buttons
    // The button that has been pressed.
    property int answer: buttons.length - 1
    signal answered(int index)

    title: "Brindle"
    modality: transientParent ? Qt.WindowModal : Qt.ApplicationModal
    wantedWidth: 420
    wantedHeight: body.implicitHeight

    // The first answer counts.
    onAnswered: index => {
        if (visible) {
            answer = index;
            close();
        }
    }

    SheetColumn {
        id: body
        objectName: "alert"
        width: window.fittedWidth
        height: window.fittedHeight
        spacing: 8
        gap: 20
        Accessible.role: Accessible.AlertMessage
        Accessible.name: message.text
        Accessible.description: text.text

        Label {
            id: message
            objectName: "alertMessage"
            width: parent.width
            content: window.message
            font: Theme.headline
        }
        Label {
            id: text
            objectName: "alertText"
            width: parent.width
            content: window.informativeText
            maxLength: 4000
            font: Theme.callout
            color: Theme.secondary
        }

        // The first, which means yes, stands at the right edge.
        footer: Row {
            anchors.right: parent.right
            layoutDirection: Qt.RightToLeft
            spacing: Theme.buttonSpacing

            ProminentButton {
                id: first
                objectName: "alertButton0"
                focus: true
                text: window.buttons[0]
                Accessible.defaultButton: true
                onClicked: window.answered(0)

                DoubleClickGuard {
                    fromTheStart: true
                }
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
