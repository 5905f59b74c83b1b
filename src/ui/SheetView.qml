import QtQuick
import Brindle

// The content of a sheet: a column that begins with the title, and a fixed row below. The column
// scrolls if it lacks height. Escape dismisses the sheet.
FocusScope {
    id: view

    required property string title
    // The text of the button that dismisses the sheet, at the row's right end. Return presses this
    // button wherever the focus is.
    property string closeText
    // While true, Escape does nothing.
    property bool guarded: false
    default property alias contents: column.data
    property alias heading: heading
    property alias footer: others.data
    property alias spacing: column.spacing
    property real padding: 20
    // The distance between the column and the row below.
    property real gap: spacing
    // The height of the column's visible part.
    readonly property real room: footer.y - padding - gap
    signal dismissed()

    // Set at once: a later width would lay out the content twice.
    width: implicitWidth
    implicitHeight: Math.ceil(column.height + gap + footer.height + 2 * padding)
    focus: true
    Accessible.role: Accessible.Dialog
    Accessible.name: title
    Keys.forwardTo: [scroller]

    Shortcut {
        sequences: ["Return", "Enter"]
        autoRepeat: false
        enabled: view.closeText !== ""
        onActivated: view.dismissed()
    }
    Shortcut {
        sequences: ["Escape", "Ctrl+W"]
        autoRepeat: false
        enabled: !view.guarded
        onActivated: view.dismissed()
    }

    Scroller {
        id: scroller
        objectName: "sheetScroller"
        width: parent.width
        height: footer.y
        contentHeight: view.padding + column.height + view.gap

        Column {
            id: column
            x: view.padding
            y: view.padding
            width: view.width - 2 * view.padding

            Label {
                id: heading
                width: parent.width
                content: view.title
                font: Theme.title2
                Accessible.role: Accessible.Heading
            }
        }
    }

    Rectangle {
        objectName: "divider"
        anchors.bottom: scroller.bottom
        visible: scroller.contentHeight > scroller.height
        width: parent.width
        height: 1
        color: Theme.hairline
    }

    Item {
        id: footer
        objectName: "footer"
        x: view.padding
        y: view.height - height - view.padding
        width: view.width - 2 * view.padding
        height: childrenRect.height

        Item {
            id: others
            width: parent.width
            height: childrenRect.height
        }
        PushButton {
            objectName: "closeButton"
            anchors.right: parent.right
            visible: view.closeText !== ""
            focus: view.closeText !== ""
            text: view.closeText
            prominent: true
            Accessible.defaultButton: true
            onClicked: view.dismissed()
        }
    }
}
