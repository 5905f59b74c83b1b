import QtQuick
import QtTest
import Brindle

// The box of text that can be selected and copied: its menu, with the mouse and without.
Item {
    id: stage
    width: 600
    height: 640

    Component {
        id: standIn
        StandIn {
            hasFailure: true
            failureSummary: "It failed."
            failureText: "one two\nthree"
        }
    }
    Component {
        id: contentView
        ContentView { anchors.fill: parent }
    }

    TestCase {
        name: "TextPane"
        when: windowShown

        property var content
        property var edit
        property var menu

        function init() {
            failOnWarning(/.?/);
            parent.Window.window.requestActivate();
            tryCompare(parent.Window.window, "active", true);
            content = createTemporaryObject(contentView, stage, { "model": standIn.createObject(stage) });
            edit = findChild(content, "failureText").edit;
            menu = findChild(edit, "textMenu");
            edit.forceActiveFocus(Qt.TabFocusReason);
            waitForRendering(content);
        }
        function cleanup() {
            if (menu.opened)
                menu.close();
        }

        function clipboard() {
            const probe = createTemporaryQmlObject("import QtQuick; TextEdit {}", stage);
            probe.paste();
            return probe.text;
        }
        function entry(name) {
            return findChild(menu.contentItem, name);
        }

        function test_theMouseOpensTheMenu() {
            edit.select(0, 3);
            mouseClick(edit, 10, 10, Qt.RightButton);
            tryCompare(menu, "opened", true);
            compare(edit.selectedText, "one");
            compare([entry("menuCopy").text, entry("menuSelectAll").text], ["Copy", "Select All"]);
            mouseMove(entry("menuCopy"));
            tryCompare(entry("menuCopy"), "highlighted", true);
            mouseClick(entry("menuCopy"));
            tryCompare(menu, "visible", false);
            compare(clipboard(), "one");
            verify(edit.activeFocus);
        }

        function test_withoutASelectionThereIsNothingToCopy() {
            mouseClick(edit, 10, 10, Qt.RightButton);
            tryCompare(menu, "opened", true);
            verify(!entry("menuCopy").enabled);
            mouseClick(entry("menuSelectAll"));
            tryCompare(menu, "visible", false);
            compare(edit.selectedText, edit.getText(0, edit.length));
            compare(edit.selectedText.length, 13);
        }

        function test_theKeyboardOpensTheMenu_data() {
            return [{ tag: "Menu", key: Qt.Key_Menu, modifiers: Qt.NoModifier },
                    { tag: "Shift+F10", key: Qt.Key_F10, modifiers: Qt.ShiftModifier }];
        }
        function test_theKeyboardOpensTheMenu(data) {
            keyClick(data.key, data.modifiers);
            tryCompare(menu, "opened", true);
            keyClick(Qt.Key_Down);
            tryVerify(() => entry("menuSelectAll").highlighted);
            keyClick(Qt.Key_Return);
            tryCompare(menu, "visible", false);
            compare(edit.selectedText.length, 13);
            verify(edit.activeFocus);
            compare(content.model.calls, []);
        }

        function test_escapeClosesOnlyTheMenu() {
            keyClick(Qt.Key_Menu);
            tryCompare(menu, "opened", true);
            keyClick(Qt.Key_Escape);
            tryCompare(menu, "visible", false);
            verify(edit.activeFocus);
        }

        function test_inASheetToo() {
            content.logShown = true;
            const sheet = findChild(content, "logSheet");
            tryCompare(sheet, "opened", true);
            waitForRendering(sheet.view);
            const inSheet = findChild(sheet.view, "logPane").edit;
            inSheet.forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Menu);
            const sheetMenu = findChild(inSheet, "textMenu");
            tryCompare(sheetMenu, "opened", true);
            keyClick(Qt.Key_Escape);
            tryCompare(sheetMenu, "visible", false);
            verify(content.logShown);
            keyClick(Qt.Key_Menu);
            tryCompare(sheetMenu, "opened", true);
            keyClick(Qt.Key_Down);
            keyClick(Qt.Key_Return);
            tryCompare(sheetMenu, "visible", false);
            verify(content.logShown);
            compare(inSheet.selectedText, "Nothing yet.");
        }
    }
}
