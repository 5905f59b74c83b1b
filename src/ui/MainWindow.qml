import QtQuick
import Brindle

// The launcher's window.
Window {
    id: window

    required property var model
    // What the screen has for a window, without its frame.
    property size room: Qt.size(Math.min(Screen.width, Screen.desktopAvailableWidth),
                                Math.min(Screen.height, Screen.desktopAvailableHeight) - 40)

    title: "Brindle"
    minimumWidth: 560
    minimumHeight: 640
    color: Theme.window

    // The first size; from then on it is the player's.
    Component.onCompleted: {
        width = Math.max(minimumWidth, Math.min(600, room.width));
        height = Math.max(minimumHeight, Math.min(Math.max(720, content.wantedHeight), room.height));
    }

    ContentView {
        id: content
        objectName: "content"
        anchors.fill: parent
        model: window.model
    }

    Shortcut {
        sequences: ["Ctrl+W"]
        onActivated: window.close()
    }
}
