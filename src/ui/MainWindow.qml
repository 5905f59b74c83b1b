import QtQuick
import Brindle

// The launcher's window.
Window {
    id: window

    required property var model
    // The screen's room for a window, without the window's frame.
    property size room: Qt.size(Math.min(Screen.width, Screen.desktopAvailableWidth),
                                Math.min(Screen.height, Screen.desktopAvailableHeight) - 40)
    // The last height set here. The player or the desktop chose any other height.
    property int ownHeight: 0

    function fit() {
        ownHeight = Math.max(minimumHeight, Math.min(content.wantedHeight, room.height));
        height = ownHeight;
    }

    title: "Brindle"
    minimumWidth: 560
    minimumHeight: 640
    color: Theme.window

    Component.onCompleted: {
        width = Math.max(minimumWidth, Math.min(640, room.width));
        fit();
    }

    ContentView {
        id: content
        objectName: "content"
        anchors.fill: parent
        model: window.model
        // Makes room for a failure, unless the player has chosen a size.
        onWantedHeightChanged: if (window.height === window.ownHeight && wantedHeight > window.height) window.fit()
    }

    Shortcut {
        sequences: ["Ctrl+W"]
        autoRepeat: false
        onActivated: window.close()
    }
}
