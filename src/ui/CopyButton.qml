import QtQuick
import Brindle

// Copies something, and confirms it for two seconds.
PushButton {
    id: control

    // The thing copied, for screen readers.
    required property string what
    readonly property bool confirms: confirmation.running

    text: "Copy"
    // Leaves room for the check mark.
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
        name: control.confirms ? "check" : ""
        color: control.ink
        Accessible.ignored: !control.confirms
        Accessible.role: Accessible.Notification
        Accessible.name: "Copied"
    }
}
