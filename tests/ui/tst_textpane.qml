import QtQuick
import QtTest
import Brindle

// Tests that boxes of text scroll, select and show their menu.
Item {
    width: 640
    height: 640

    ViewCase {
        name: "TextPane"

        property var edit
        property var menu

        function take(pane) {
            edit = pane.edit;
            menu = findChild(edit, "textMenu");
            edit.forceActiveFocus(Qt.TabFocusReason);
            settle();
            return pane;
        }
        function showFailure(text) {
            model.failureText = text;
            model.hasFailure = true;
            return take(item("failureText"));
        }
        function entry(name) {
            return findChild(menu.contentItem, name);
        }
        function openMenu() {
            keyClick(Qt.Key_Menu);
            tryCompare(menu, "opened", true);
        }

        function test_theLastLinesOfAFailureAreSeenFirst() {
            const scroller = showFailure("a line").scroller;
            const showEnd = text => {
                model.failureText = text.repeat(60) + "the last";
                tryVerify(() => scroller.lastY > 500 && scroller.contentY === scroller.lastY);
            };
            const height = item("failure").height;
            showEnd("a line\n");
            compare([item("failureText").height, item("failure").height], [140, height]);
            // Show another failure of the same length.
            keyClick(Qt.Key_Home);
            compare(scroller.contentY, 0);
            showEnd("b line\n");
            // Lines that wrap in a narrower window must not lose the end.
            showEnd("a rather long line of the log that goes on\n");
            const before = scroller.contentHeight;
            item("failure").width = 300;
            tryVerify(() => scroller.contentHeight > before && scroller.contentY === scroller.lastY);
            scroller.contentY = 50;
            item("failure").width = 512;
            tryCompare(scroller, "contentHeight", before);
            compare(scroller.contentY, 50);
            scroller.movementEnded();
            compare(scroller.contentY % scroller.line, 0);
            // A short text must show its top.
            model.failureText = "a line";
            tryCompare(scroller, "contentY", 0);
        }

        function test_longLinesAreCut() {
            showFailure("x".repeat(2001) + "\na line");
            compare(edit.text, "x".repeat(2000) + "\u2026\na line");
        }

        function test_theMouseOpensTheMenu() {
            showFailure("one two\nthree");
            edit.select(4, 7);
            mouseClick(edit, 10, 10, Qt.RightButton);
            tryCompare(menu, "opened", true);
            compare(edit.selectedText, "two");
            compare([entry("menuCopy").text, entry("menuSelectAll").text], ["Copy", "Select All"]);
            compare([menu.width, menu.height], [entry("menuSelectAll").implicitWidth + 8, 2 * Theme.buttonHeight + 8]);
            mouseMove(entry("menuCopy"));
            tryCompare(entry("menuCopy"), "highlighted", true);
            compare([entry("menuCopy").contentItem.color, entry("menuSelectAll").contentItem.color], [Theme.accentText, Theme.text]);
            mouseClick(entry("menuCopy"));
            tryCompare(menu, "visible", false);
            compare(clipboard(), "two");
            verify(edit.activeFocus);
        }

        function test_withoutASelectionThereIsNothingToCopy() {
            showFailure("one two\nthree");
            mouseClick(edit, 10, 10, Qt.RightButton);
            tryCompare(menu, "opened", true);
            compare([entry("menuCopy").enabled, entry("menuCopy").contentItem.color], [false, Theme.textOff]);
            mouseClick(entry("menuSelectAll"));
            tryCompare(menu, "visible", false);
            compare(edit.selectedText.length, 13);
        }

        function test_theKeyboardOpensTheMenu_data() {
            return [{ tag: "Menu", key: Qt.Key_Menu, modifiers: Qt.NoModifier },
                    { tag: "Shift+F10", key: Qt.Key_F10, modifiers: Qt.ShiftModifier }];
        }
        function test_theKeyboardOpensTheMenu(data) {
            showFailure("one two\nthree");
            keyClick(data.key, data.modifiers);
            tryCompare(menu, "opened", true);
            keyClick(Qt.Key_Down);
            tryVerify(() => entry("menuSelectAll").highlighted);
            keyClick(Qt.Key_Return);
            tryCompare(menu, "visible", false);
            compare(edit.selectedText.length, 13);
            verify(edit.activeFocus);
            compare(model.calls, []);
        }

        // Keys must act on the menu, not on the sheet below.
        function test_theMenuInASheet() {
            view.logShown = true;
            tryCompare(item("logSheet"), "opened", true);
            take(findChild(item("logSheet").view, "logPane"));
            openMenu();
            keyClick(Qt.Key_Escape);
            tryCompare(menu, "visible", false);
            verify(edit.activeFocus);
            openMenu();
            keyClick(Qt.Key_Down);
            keyClick(Qt.Key_Return);
            tryCompare(menu, "visible", false);
            verify(view.logShown);
            compare(edit.selectedText, "Nothing yet.");
            mouseClick(findChild(item("logSheet").view, "copyLogButton"));
            compare(model.calls, ["copyLog"]);
        }
    }
}
