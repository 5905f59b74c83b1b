import QtQuick
import Brindle

// A window-modal window that is as large as its view, centred on the window below. It exists only
// while it is shown. The content is a SheetView.
Loader {
    id: sheet

    required property bool shown
    required property string title
    required property Component content
    // The player closed the window or pressed Escape.
    signal dismissed()

    active: shown
    visible: false

    // Made by this loader, and so with this file's names.
    // qmllint disable unqualified
    sourceComponent: Window {
        id: window

        readonly property var below: sheet.Window.window

        // What is shown, for the tests' and the window's size.
        readonly property alias view: holder.item

        objectName: sheet.objectName + "Window"
        title: sheet.title
        flags: (Qt.platform.os === "osx" ? Qt.Sheet : Qt.Dialog) | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
        modality: Qt.WindowModal
        transientParent: below
        color: Theme.window
        width: holder.width
        height: holder.height
        minimumWidth: width
        maximumWidth: width
        minimumHeight: height
        maximumHeight: height

        Component.onCompleted: {
            x = below.x + Math.round((below.width - width) / 2);
            y = below.y + Math.round((below.height - height) / 2);
            show();
            requestActivate();
        }
        onClosing: sheet.dismissed()

        Loader {
            id: holder
            focus: true
            sourceComponent: sheet.content
        }

        Shortcut {
            sequences: ["Return", "Enter"]
            onActivated: (holder.item as SheetView).defaultButton.clicked()
        }
        Shortcut {
            sequences: ["Escape", "Ctrl+W"]
            onActivated: sheet.dismissed()
        }
    }
    // qmllint enable unqualified
}
