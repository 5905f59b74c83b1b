import QtQuick
import Brindle

// Shows monospaced text in a box, for scrolling and selecting, but not editing.
Item {
    id: pane

    // Names the content for screen readers.
    required property string label
    property string text
    readonly property alias edit: edit
    readonly property alias scroller: scroller
    // True while the pane follows its end, until the player scrolls away. Not a binding, because
    // reading the height could scroll.
    property bool atEnd: true

    function look() {
        atEnd = scroller.contentY >= scroller.contentHeight - scroller.height - 1;
    }

    function showEnd() {
        scroller.contentY = Math.max(0, scroller.contentHeight - scroller.height);
    }

    function follow() {
        if (atEnd)
            showEnd();
        look();
    }

    // Moves the cursor into sight, so that a selection by keyboard begins there.
    function beginInSight() {
        const top = edit.cursorRectangle.y;
        if (top < scroller.contentY || top + edit.cursorRectangle.height > scroller.contentY + scroller.height)
            edit.cursorPosition = edit.positionAt(0, scroller.contentY + edit.cursorRectangle.height / 2);
    }

    SmoothRectangle {
        anchors.fill: parent
        radius: 6
        color: Theme.pane
        borderColor: Theme.paneEdge
    }

    Scroller {
        id: scroller
        // Shows whole lines, clear of the edge.
        y: Math.round((parent.height - height) / 2)
        width: parent.width
        height: Math.floor((parent.height - 14) / line) * line
        line: Math.ceil(metrics.lineSpacing)
        followsFocus: false
        onContentYChanged: pane.look()
        onContentHeightChanged: pane.follow()
        onHeightChanged: pane.follow()
        contentHeight: edit.height

        FontMetrics {
            id: metrics
            font: Theme.monospaced
        }

        TextEdit {
            id: edit
            x: 8
            width: scroller.width - 22
            text: pane.text.split("\n").map(line => DisplayText.of(line, 2000)).join("\n")
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
                // Arrows and pages select with Shift, and scroll without. A TextEdit knows no pages.
                selectByKeyboard = shift;
                if (shift && selectedText === "")
                    pane.beginInSight();
                const page = scroller.height - scroller.line;
                const steps = { [Qt.Key_PageUp]: -page, [Qt.Key_PageDown]: page };
                const isMenu = event.key === Qt.Key_Menu || shift && event.key === Qt.Key_F10;
                event.accepted = isMenu || shift && event.key in steps;
                if (isMenu)
                    menu.popup(edit, 0, scroller.contentY);
                else if (event.accepted)
                    moveCursorSelection(positionAt(0, cursorRectangle.y + scroller.line / 2 + steps[event.key]));
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

            // Scrolls while the mouse selects beyond the edge.
            onCursorRectangleChanged: {
                const top = cursorRectangle.y;
                if (activeFocus && selectedText !== "")
                    scroller.contentY = Math.min(Math.max(scroller.contentY, top + cursorRectangle.height - scroller.height), top);
            }
        }
    }

    PushButton {
        objectName: "moreBelow"
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 8
        visible: !pane.atEnd
        text: "More below"
        font: Theme.caption
        fill: down ? Theme.mixed(Theme.menu, Theme.text, 0.2) : hovered ? Theme.mixed(Theme.menu, Theme.text, 0.1) : Theme.menu
        focusPolicy: Qt.NoFocus
        onClicked: pane.showEnd()
    }

    FocusRing {
        target: edit
        parentRadius: 6
    }
}
