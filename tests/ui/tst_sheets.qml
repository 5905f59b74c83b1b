import QtQuick
import QtTest
import Brindle
import BrindleTest

Item {
    id: stage
    width: 600
    height: 640

    Component {
        id: standIn
        StandIn {
            log: LogStore {}
        }
    }
    Component {
        id: contentView
        ContentView { anchors.fill: parent }
    }

    TestCase {
        name: "Sheets"
        when: windowShown

        property var model
        property var content

        function init() {
            failOnWarning(/.?/);
            parent.Window.window.requestActivate();
            tryCompare(parent.Window.window, "active", true);
            model = standIn.createObject(stage); // outlives the view
            content = createTemporaryObject(contentView, stage, { "model": model });
        }

        function open(name) {
            content[name + "Shown"] = true;
            const sheet = findChild(content, name + "Sheet").item;
            verify(sheet);
            tryCompare(sheet, "active", true);
            waitForRendering(sheet.view);
            return sheet;
        }
        function child(sheet, name) {
            const found = findChild(sheet.view, name);
            verify(found, name);
            return found;
        }

        function test_returnAndEscapeClose_data() {
            const rows = [];
            for (const name of ["settings", "about", "log"]) {
                for (const key of [Qt.Key_Return, Qt.Key_Enter, Qt.Key_Escape])
                    rows.push({ tag: name + " " + key, name: name, key: key });
            }
            return rows;
        }
        function test_returnAndEscapeClose(data) {
            open(data.name);
            keyClick(data.key);
            compare(content[data.name + "Shown"], false);
            compare(model.calls.filter(call => call !== "measureStorage"), []);
        }

        function test_returnClosesFromAnyControl() {
            const sheet = open("settings");
            child(sheet, "updateButton").forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Return);
            compare(content.settingsShown, false);
            verify(!model.calls.includes("updateGame"));
        }

        function test_closeButtons_data() {
            return [{ tag: "settings", button: "doneButton", text: "Done" },
                    { tag: "about", button: "doneButton", text: "Done" },
                    { tag: "log", button: "closeButton", text: "Close" }];
        }
        function test_closeButtons(data) {
            const sheet = open(data.tag);
            const button = child(sheet, data.button);
            compare(button.text, data.text);
            mouseClick(button);
            compare(content[data.tag + "Shown"], false);
        }

        function test_sizes() {
            let sheet = open("settings");
            compare(sheet.width, 420);
            content.settingsShown = false;
            sheet = open("about");
            compare(sheet.width, 440);
            content.aboutShown = false;
            sheet = open("log");
            compare(sheet.width, 600);
            compare(sheet.height, 420);
        }

        function test_sheetsAreCentred() {
            const sheet = open("about");
            const window = stage.Window.window;
            compare(sheet.x + Math.floor(sheet.width / 2), window.x + window.width / 2);
            verify(Math.abs(sheet.y + sheet.height / 2 - window.y - window.height / 2) <= 1);
        }

        // Settings

        function test_windowPicker() {
            const picker = child(open("settings"), "windowPicker");
            compare(picker.label, "Window");
            compare(picker.options, ["Windowed", "Fullscreen"]);
            compare(picker.current, 0);
            model.fullscreen = true;
            compare(picker.current, 1);
            picker.picked(0);
            compare(model.fullscreen, false);
            picker.picked(1);
            compare(model.fullscreen, true);
        }

        function test_resolutionPicker() {
            const sheet = open("settings");
            const picker = child(sheet, "resolutionPicker");
            compare(picker.label, "Resolution");
            compare(picker.options, ["Game default", "1280x720", "1600x900", "1920x1080", "2560x1440"]);
            for (let i = 0; i < 5; ++i) {
                mouseClick(child(sheet, "segment " + picker.options[i]));
                compare(model.resolution, i);
                compare(picker.current, i);
            }
        }

        function test_segmentsFitTheirPicker() {
            const sheet = open("settings");
            const picker = child(sheet, "resolutionPicker");
            let end = 0;
            for (const option of picker.options) {
                const segment = child(sheet, "segment " + option);
                const x = segment.mapToItem(picker, 0, 0).x;
                verify(x >= end - 0.01, option);
                end = x + segment.width;
                verify(segment.contentItem.contentWidth <= segment.width, option);
                verify(!segment.contentItem.truncated, option);
            }
            verify(end <= picker.width);
        }

        function test_arrowsChoose() {
            const sheet = open("settings");
            child(sheet, "segment Game default").forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Right);
            compare(model.resolution, 1);
            verify(child(sheet, "segment 1280x720").activeFocus);
            keyClick(Qt.Key_Left);
            keyClick(Qt.Key_Left);
            compare(model.resolution, 0);
            verify(child(sheet, "segment Game default").visualFocus);
        }

        function test_maintenance_data() {
            return [
                { tag: "updateGame", button: "updateButton", text: "Update the game (download again, keep saves)" },
                { tag: "reinstall", button: "reinstallButton", text: "Reinstall (game and engine)" },
                { tag: "removeEverything", button: "removeButton", text: "Remove everything (frees 486.2 MB)" }
            ];
        }
        function test_maintenance(data) {
            model.storageSize = "486.2 MB";
            const button = child(open("settings"), data.button);
            compare(button.text, data.text);
            mouseClick(button);
            compare(model.calls, ["measureStorage", data.tag]);
            compare(content.settingsShown, false);
        }

        function test_whileBusy() {
            model.canPlay = false;
            const sheet = open("settings");
            for (const name of ["updateButton", "reinstallButton", "removeButton"]) {
                verify(!child(sheet, name).enabled, name);
                mouseClick(child(sheet, name));
            }
            compare(model.calls, ["measureStorage"]);
            for (const name of ["savesButton", "revealButton", "windowPicker", "resolutionPicker", "doneButton"])
                verify(child(sheet, name).enabled, name);
            mouseClick(child(sheet, "segment Fullscreen"));
            compare(model.fullscreen, true);
            mouseClick(child(sheet, "segment 1920x1080"));
            compare(model.resolution, 3);
        }

        function test_savesAndReveal() {
            const sheet = open("settings");
            compare(child(sheet, "savesButton").text, "Show saves");
            compare(child(sheet, "revealButton").text, "Reveal in Finder");
            mouseClick(child(sheet, "savesButton"));
            mouseClick(child(sheet, "revealButton"));
            compare(model.calls, ["measureStorage", "showSaves", "revealInFinder"]);
            verify(content.settingsShown);
        }

        function test_theSizeIsMeasuredEachTime() {
            open("settings");
            content.settingsShown = false;
            open("settings");
            compare(model.calls, ["measureStorage", "measureStorage"]);
        }

        function test_theRemoveButtonKeepsItsPlace() {
            model.storageSize = "…";
            const sheet = open("settings");
            const button = child(sheet, "removeButton");
            compare(button.text, "Remove everything (frees …)");
            const before = [button.x, button.y, button.width, button.height, sheet.height];
            model.storageSize = "1.23 GB";
            waitForRendering(button);
            compare([button.x, button.y, button.width, button.height, sheet.height], before);
        }

        // About

        function test_about() {
            model.name = "<i>Game</i>";
            model.copyright = "(c) someone";
            model.licenseName = "GPL";
            const sheet = open("about");
            const game = child(sheet, "aboutGame");
            compare(game.text, "Game: <i>Game</i>\n(c) someone\nLicence: GPL");
            compare(game.textFormat, Text.PlainText);
            verify(child(sheet, "aboutRepository").text.includes("tessel-works/godot-brindle"));
            verify(child(sheet, "aboutRepository").text.includes("GPL"));
            compare(child(sheet, "aboutRepository").font, Theme.callout);
            verify(child(sheet, "aboutEngine").text.includes("MIT"));
            verify(child(sheet, "aboutEngine").text.includes("Godot Engine contributors"));
            compare(child(sheet, "aboutLauncher").text, "The game belongs to its author. This app is only a launcher: it downloads the game and Godot and starts them. Nothing is sent anywhere except those downloads.");
            compare(child(sheet, "aboutLauncher").color, Theme.secondary);
            const link = child(sheet, "repositoryLink");
            compare(link.text, "github.com/tessel-works/godot-brindle");
            mouseClick(link);
            compare(model.calls, ["openRepository"]);
            verify(content.aboutShown);
        }

        // Log

        function test_anEmptyLog() {
            const sheet = open("log");
            const pane = child(sheet, "logPane");
            verify(child(sheet, "nothingYet").visible);
            compare(child(sheet, "nothingYet").text, "Nothing yet.");
            compare(pane.edit.text, "");
            compare(child(sheet, "copyLogButton").text, "Copy");
            mouseClick(child(sheet, "copyLogButton"));
            compare(model.calls, ["copyLog"]);
            verify(content.logShown);
        }

        function test_lines() {
            model.log.lines = ["• one", "<b>two</b>", "  three"];
            const sheet = open("log");
            const pane = child(sheet, "logPane");
            tryCompare(pane.edit, "text", "• one\n<b>two</b>\n  three");
            verify(!child(sheet, "nothingYet").visible);
            compare(pane.edit.font, Theme.monospaced);
            verify(pane.edit.readOnly);

            model.log.lines = [];
            tryCompare(pane.edit, "text", "");
            verify(child(sheet, "nothingYet").visible);
        }

        function test_copySelection() {
            model.log.lines = ["hello world"];
            const sheet = open("log");
            const pane = child(sheet, "logPane");
            tryCompare(pane.edit, "text", "hello world");
            mouseDoubleClickSequence(pane.edit, 5, 5);
            compare(pane.edit.selectedText, "hello");
            keySequence(StandardKey.Copy);
            const probe = createTemporaryQmlObject("import QtQuick; TextEdit {}", stage);
            probe.paste();
            compare(probe.text, "hello");
        }
    }
}
