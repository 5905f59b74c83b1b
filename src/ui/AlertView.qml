import QtQuick
import Brindle

// Shows a question or notice. Escape presses the last button.
Sheet {
    id: alert

    required property string message
    required property string informativeText
    required property var buttons
    // True if the player did not just ask for the alert. Ignores keys and clicks for half a second.
    property bool unprompted: false
    signal answered(int index)

    objectName: "alertSheet"
    z: 1
    visible: true

    // The sheet creates the view, but the view sees the names of this file.
    // qmllint disable unqualified
    content: SheetView {
        id: body
        objectName: "alert"

        readonly property Item guard: DoubleClickGuard {
            parent: body
            fromTheStart: true
            interval: Math.max(500, Application.styleHints.mouseDoubleClickInterval)
            onVisibleChanged: {
                if (!visible && body.guarded) {
                    body.guarded = false;
                    first.forceActiveFocus();
                }
            }
        }

        title: DisplayText.of(alert.message)
        guarded: alert.unprompted
        onDismissed: alert.answered(alert.buttons.length - 1)
        heading.objectName: "alertMessage"
        heading.font: Theme.headline
        implicitWidth: 460
        spacing: 8
        gap: 20
        Accessible.role: Accessible.AlertMessage
        Accessible.description: text.text

        Label {
            id: text
            objectName: "alertText"
            width: parent.width
            content: alert.informativeText
            maxLength: 4000
            font: Theme.callout
            color: Theme.secondary
        }

        // The first button stands at the right edge.
        footer: Row {
            anchors.right: parent.right
            layoutDirection: Qt.RightToLeft
            spacing: Theme.buttonSpacing

            PushButton {
                id: first
                objectName: "alertButton0"
                focus: !body.guarded
                text: alert.buttons[0]
                prominent: true
                Accessible.defaultButton: true
                onClicked: alert.answered(0)
            }
            Repeater {
                model: alert.buttons.slice(1)

                PushButton {
                    required property string modelData
                    required property int index
                    objectName: "alertButton" + (index + 1)
                    text: modelData
                    onClicked: alert.answered(index + 1)
                }
            }

            // Takes the keys while the alert ignores them.
            Item {
                focus: body.guarded
                Keys.onPressed: event => event.accepted = true
            }
        }
    }
}
