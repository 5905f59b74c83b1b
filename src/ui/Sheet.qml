import QtQuick
import Brindle

// A window-modal window, as large as its view asks for and the screen allows, centred on the window
// below. It exists only while it is shown. The content is a SheetView.
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
    sourceComponent: FittedWindow {
        id: window

        readonly property var below: sheet.Window.window

        // What is shown, for the tests.
        readonly property alias view: holder.item

        objectName: sheet.objectName + "Window"
        title: sheet.title
        modality: Qt.WindowModal
        transientParent: below
        wantedWidth: holder.implicitWidth
        wantedHeight: holder.implicitHeight

        Component.onCompleted: {
            layOut(contentItem);
            x = below.x + Math.round((below.width - width) / 2);
            y = Math.max(Screen.virtualY, below.y + Math.round((below.height - height) / 2));
            show();
            requestActivate();
        }
        onClosing: sheet.dismissed()

        Loader {
            id: holder
            width: window.fittedWidth
            height: window.fittedHeight
            focus: true
            sourceComponent: sheet.content

            Shortcut {
                sequences: ["Return", "Enter"]
                onActivated: (holder.item as SheetView).defaultButton.clicked()
            }
            Shortcut {
                sequences: ["Escape", "Ctrl+W"]
                onActivated: sheet.dismissed()
            }
        }
    }
    // qmllint enable unqualified
}
