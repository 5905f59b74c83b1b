import QtQuick
import Brindle

// The launcher's window.
Window {
    id: window

    required property var model
    // The screen's room for a window without its frame. Wayland does not report panels, so guess.
    property size room: Qt.size(Math.min(Screen.width, Screen.desktopAvailableWidth),
                                Screen.desktopAvailableHeight < Screen.height ? Screen.desktopAvailableHeight - 40 : Screen.height - 90)
    // The share of the remaining room that a growing window may take. Wayland desktops other than
    // GNOME centre a window and never move it up, so only the lower half is free.
    property real share: Qt.platform.pluginName.startsWith("wayland") && !SystemStyle.gnome ? 0.5 : 1
    // The heights that `fit` has set. The player or the desktop has chosen any other height.
    property var ownHeights: []

    function fit() {
        const first = ownHeights[0] ?? room.height;
        const most = first + Math.max(0, room.height - first) * share;
        height = Math.max(minimumHeight, Math.min(content.wantedHeight, most));
        if (!ownHeights.includes(height))
            ownHeights.push(height);
    }

    // Makes room for a failure, unless the player has chosen a size.
    function grow() {
        if (ownHeights.includes(height) && content.wantedHeight > height)
            fit();
    }

    title: "Brindle"
    minimumWidth: 560
    minimumHeight: 640
    color: Theme.window

    // A Wayland desktop may restore an earlier height together with the focus.
    onActiveChanged: Qt.callLater(grow) // qmllint disable
    Component.onCompleted: {
        width = Math.max(minimumWidth, Math.min(640, room.width));
        fit();
    }

    ContentView {
        id: content
        objectName: "content"
        anchors.fill: parent
        model: window.model
        // Called later, when the items have their positions.
        onWantedHeightChanged: Qt.callLater(window.grow) // qmllint disable
    }

    Shortcut {
        sequences: ["Ctrl+W"]
        autoRepeat: false
        onActivated: window.close()
    }
}
