import QtQuick
import Brindle

// A box of monospaced text that scrolls and can be selected, but not changed.
Item {
    id: pane

    // What the box holds, for those who can't see it.
    required property string label
    property string text
    readonly property alias edit: edit
    readonly property alias scroller: scroller

    SmoothRectangle {
        anchors.fill: parent
        radius: 6
        color: Theme.pane
        borderColor: Theme.dark ? Theme.hairline : "transparent"
        borderWidth: 1
    }

    Scroller {
        id: scroller
        anchors.fill: parent
        anchors.margins: 1
        contentHeight: edit.height + 2 * edit.y

        TextEdit {
            id: edit
            x: 8
            y: 7
            width: scroller.width - 22
            text: pane.text
            textFormat: TextEdit.PlainText
            wrapMode: TextEdit.Wrap
            horizontalAlignment: TextEdit.AlignLeft
            font: Theme.monospaced
            color: Theme.text
            selectionColor: Theme.selection
            selectedTextColor: Theme.text
            readOnly: true
            selectByMouse: true
            activeFocusOnTab: true
            Accessible.role: Accessible.EditableText
            Accessible.name: pane.label
            Accessible.readOnly: true
            Accessible.multiLine: true

            // Selecting with the mouse beyond the edge scrolls.
            onCursorRectangleChanged: {
                if (activeFocus && selectionStart !== selectionEnd) {
                    const top = cursorRectangle.y + y;
                    const bottom = top + cursorRectangle.height;
                    if (top < scroller.contentY)
                        scroller.contentY = Math.max(0, top - y);
                    else if (bottom > scroller.contentY + scroller.height)
                        scroller.contentY = Math.min(scroller.contentHeight, bottom + y) - scroller.height;
                }
            }
        }
    }

    FocusRing {
        parentRadius: 6
        shown: edit.activeFocus
    }
}
