import QtQuick
import Brindle

// Copies a text, and shows a check mark for two seconds.
PushButton {
    id: control

    // Names the copied text for screen readers.
    required property string what

    text: "Copy"
    // Leave room for the check mark.
    horizontalPadding: 24
    Accessible.name: "Copy the " + what
    onClicked: {
        confirmation.restart();
        Accessibility.announce(notice);
    }

    Timer {
        id: confirmation
        interval: 2000
    }
    Symbol {
        id: notice
        objectName: "copied"
        x: control.width - 19
        anchors.verticalCenter: parent.verticalCenter
        width: control.font.pixelSize
        height: width
        visible: confirmation.running
        name: "check"
        color: control.ink
        Accessible.role: Accessible.Notification
        Accessible.name: "Copied"
    }
}
