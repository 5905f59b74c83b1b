import QtQuick
import Brindle

// The window of a sheet or an alert: of the size that its content wants, as far as the screen has
// it, and of no other.
Window {
    id: window

    required property real wantedWidth
    required property real wantedHeight

    // What a frame, and a panel that another screen's hides, may take of the screen.
    readonly property int spare: 64
    // None of the window's own sizes is read here: each is set from these, in whatever order.
    readonly property int fittedWidth: Math.min(wantedWidth, Screen.width, Screen.desktopAvailableWidth)
    readonly property int fittedHeight: Math.min(wantedHeight, Math.min(Screen.height, Screen.desktopAvailableHeight) - spare)

    // Rows and columns take their places only before a frame, and a window wants its size earlier.
    function layOut(item) {
        for (let i = 0; i < item.children.length; ++i)
            layOut(item.children[i]);
        if (item.forceLayout)
            item.forceLayout();
    }

    flags: (Qt.platform.os === "osx" ? Qt.Sheet : Qt.Dialog) | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
    color: Theme.window
    width: fittedWidth
    height: fittedHeight
    minimumWidth: fittedWidth
    maximumWidth: fittedWidth
    minimumHeight: fittedHeight
    maximumHeight: fittedHeight
}
