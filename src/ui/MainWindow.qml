import QtQuick
import Brindle

// The launcher's window.
Window {
    id: window

    required property var model

    title: "Brindle"
    minimumWidth: 560
    minimumHeight: 640
    width: 600
    height: 720
    color: Theme.window

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
