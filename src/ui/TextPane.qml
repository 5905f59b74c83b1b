import QtQuick
import Brindle

// A box of monospaced text that scrolls and can be selected, but not changed.
Item {
    id: pane

    // What the box holds, for those who can't see it.
    required property string label
    property string text
    property int maxLineLength: 2000
    readonly property alias edit: edit
    readonly property alias scroller: scroller

    // A selection by keyboard begins where the eye is.
    function beginInSight() {
        const top = edit.cursorRectangle.y + edit.y;
        if (top < scroller.contentY || top + edit.cursorRectangle.height > scroller.contentY + scroller.height)
            edit.cursorPosition = edit.positionAt(0, scroller.contentY - edit.y + edit.cursorRectangle.height / 2);
    }

    SmoothRectangle {
        anchors.fill: parent
        radius: 6
        color: Theme.pane
        borderColor: Theme.hairline
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
            text: DisplayText.lines(pane.text, pane.maxLineLength)
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
            Accessible.editable: false
            Accessible.multiLine: true
            Accessible.selectableText: true

            Keys.priority: Keys.BeforeItem
            Keys.onPressed: event => {
                const shift = event.modifiers & Qt.ShiftModifier;
                // With Shift the arrows select; without, they are left to the scroller.
                selectByKeyboard = shift;
                if (shift && selectedText === "")
                    pane.beginInSight();
                event.accepted = event.key === Qt.Key_Menu || shift && event.key === Qt.Key_F10;
                if (event.accepted)
                    menu.popup(edit, 0, scroller.contentY);
            }

            TapHandler {
                acceptedButtons: Qt.RightButton
                onTapped: point => {
                    edit.forceActiveFocus(Qt.MouseFocusReason);
                    menu.popup(edit, point.position);
                }
            }
            TextMenu {
                id: menu
                edit: edit
            }

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
