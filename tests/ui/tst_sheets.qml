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

    Component {
        id: plainButton
        PlainButton {}
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
            const sheet = findChild(content, name + "Sheet");
            tryCompare(sheet, "opened", true);
            waitForRendering(sheet.view);
            return sheet;
        }
        function close(name) {
            content[name + "Shown"] = false;
            tryCompare(findChild(content, name + "Sheet"), "visible", false);
        }
        function child(sheet, name) {
            const found = findChild(sheet.view, name) ?? null;
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
            compare(model.calls, []);
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
            close("settings");
            sheet = open("about");
            compare(sheet.width, 440);
            close("about");
            sheet = open("log");
            compare(sheet.width, 600);
            compare(sheet.height, 420);
        }

        // In a window smaller than a sheet, the sheet is as large as the window and scrolls.
        function test_aSmallWindow() {
            content.anchors.fill = undefined;
            content.width = 400;
            content.height = 300;
            for (const name of ["settings", "about", "log"]) {
                const sheet = open(name);
                compare(sheet.width, 400);
                compare(sheet.x, 0);
                verify(sheet.height <= 300);
                const scroller = findChild(sheet.view, "sheetScroller");
                compare(Boolean(scroller && scroller.contentHeight > scroller.height), name === "settings");
                close(name);
            }
        }

        function test_aSheetLiesOverTheMiddle_data() {
            return [{ tag: "settings" }, { tag: "about" }, { tag: "log" }];
        }
        function test_aSheetLiesOverTheMiddle(data) {
            const sheet = open(data.tag);
            verify(Math.abs(sheet.x + sheet.width / 2 - stage.width / 2) <= 1);
            verify(Math.abs(sheet.y + sheet.height / 2 - stage.height / 2) <= 1);
            verify(sheet.modal);
        }

        // Only the sheet has the keyboard and the mouse, and its opener has the focus afterwards.
        function test_contentBelowIsOutOfReach() {
            const opener = findChild(content, "settingsButton");
            opener.forceActiveFocus();
            open("settings");
            for (let i = 0; i < 20; ++i) {
                keyClick(Qt.Key_Tab);
                verify(!opener.activeFocus);
            }
            keyClick(Qt.Key_Q);
            mouseClick(stage, 5, 5);
            mouseClick(stage, 300, 60);
            compare(model.calls, []);
            verify(content.settingsShown);
            keyClick(Qt.Key_Escape);
            tryVerify(() => opener.activeFocus);
        }

        // A slide and a fade, unless the desktop asks for less motion.
        function test_motion() {
            const sheet = findChild(content, "aboutSheet");
            content.aboutShown = true;
            tryCompare(sheet, "opened", true);
            compare([sheet.slide, sheet.opacity], [0, 1]);
            close("about");
            Theme.still = false;
            content.aboutShown = true;
            tryVerify(() => sheet.slide > 0 && sheet.opacity < 1);
            tryVerify(() => sheet.opened && sheet.slide === 0 && sheet.opacity === 1);
            Theme.still = true;
        }

        // What lies below each other from the left to the right edge of the padding, and how far.
        function test_places_data() {
            return [
                { tag: "settings", padding: 20, spacing: 12, column: [
                    "Settings", "windowPicker", "resolutionPicker", "divider", "upkeep", "divider",
                    "savesButton", "doneButton"] },
                { tag: "about", padding: 20, spacing: 10, column: [
                    "About Brindle", "aboutGame", "aboutRepository", "aboutEngine",
                    "repositoryLink", "aboutLauncher", "doneButton"] },
                { tag: "log", padding: 16, spacing: 10, column: ["Log", "logPane", "copyLogButton"] }
            ];
        }
        function test_places(data) {
            const sheet = open(data.tag);
            const dividers = children(sheet.contentItem, item => item.objectName === "divider");
            let y = data.padding - data.spacing;
            for (const name of data.column) {
                const item = name === "divider" ? dividers.shift()
                    : findChild(sheet.view, name)
                    ?? children(sheet.contentItem, item => item.text === name && item.lineCount)[0];
                verify(item, name);
                const place = item.mapToItem(sheet.contentItem, 0, 0);
                compare(place.y, y + data.spacing, name);
                if (name === "doneButton")
                    compare(place.x + item.width, sheet.width - data.padding);
                else
                    compare(place.x, data.padding, name);
                y = place.y + item.height;
            }
            compare(y, sheet.height - data.padding);
            compare(dividers.length, 0);
        }
        function children(item, wanted) {
            let found = [];
            for (let i = 0; i < item.children.length; ++i) {
                if (item.children[i].visible && wanted(item.children[i]))
                    found.push(item.children[i]);
                found = found.concat(children(item.children[i], wanted));
            }
            return found;
        }

        function test_fonts_data() {
            return [
                { tag: "settings", fonts: { "Settings": Theme.title2, "Window": Theme.body, "Resolution": Theme.body, "Windowed": Theme.segment } },
                { tag: "about", fonts: { "About Brindle": Theme.title2, "Game: Brindle\nCopyright (c) 2023 Tessel Works\nLicence: MIT License": Theme.body } },
                { tag: "log", fonts: { "Log": Theme.headline } }
            ];
        }
        function test_fonts(data) {
            const sheet = open(data.tag);
            for (const text in data.fonts) {
                const label = children(sheet.contentItem, item => item.text === text && item.lineCount)[0];
                verify(label, text);
                compare(label.font, data.fonts[text], text);
                compare(label.lineHeight, 1, text);
            }
        }

        function test_rowsOfButtons() {
            let sheet = open("settings");
            const saves = child(sheet, "savesButton");
            const reveal = child(sheet, "revealButton");
            compare(reveal.y, saves.y);
            compare(reveal.x - saves.x - saves.width, Theme.buttonSpacing);
            close("settings");
            sheet = open("log");
            const copy = child(sheet, "copyLogButton");
            const done = child(sheet, "closeButton");
            compare(done.y, copy.y);
            compare(done.x + done.width, sheet.width - 16);
        }

        function test_aSheetGrowsWithItsContent() {
            const sheet = open("about");
            const before = sheet.height;
            model.copyright = "one\ntwo\nthree";
            tryVerify(() => sheet.height > before);
            verify(Math.abs(sheet.y + sheet.height / 2 - stage.height / 2) <= 1);
            compare(sheet.width, 440);
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

        function test_aButtonGrowsWithItsText() {
            const button = createTemporaryObject(plainButton, stage, { "text": "Word" });
            compare(button.height, Theme.buttonHeight);
            button.width = 120;
            button.text = "Update the game (download again, keep saves)";
            verify(button.height > 2 * button.font.pixelSize);
            verify(!button.contentItem.truncated);
            verify(button.contentItem.paintedHeight <= button.height);
        }

        function test_resolutionsWrapWhereTheyHaveNoRoom() {
            const picker = child(open("settings"), "resolutionPicker");
            const first = findChild(picker, "segment Game default");
            const height = picker.height;
            picker.width = picker.naturalWidth - 3;
            tryCompare(picker, "height", height + first.height);
            picker.width = picker.naturalWidth;
            tryCompare(picker, "height", height);
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
            verify(child(sheet, "segment Game default").activeFocus);
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
            compare(button.destructive, data.tag === "removeEverything");
            compare(Qt.colorEqual(button.contentItem.color, Theme.errorText), button.destructive);
            mouseClick(button);
            compare(model.calls, [data.tag]);
            compare(content.settingsShown, false);
        }

        function test_whileBusy() {
            model.canPlay = false;
            const sheet = open("settings");
            for (const name of ["updateButton", "reinstallButton", "removeButton"]) {
                verify(!child(sheet, name).enabled, name);
                mouseClick(child(sheet, name));
            }
            compare(model.calls, []);
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
            compare(model.calls, ["showSaves", "revealInFinder"]);
            verify(content.settingsShown);
        }

        function test_theSizeIsMeasuredEachTime() {
            open("settings");
            compare(model.measurements, 1);
            close("settings");
            open("settings");
            verify(model.measurements >= 2);
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
            for (const name of ["aboutRepository", "aboutEngine", "repositoryLink", "aboutLauncher"])
                compare(child(sheet, name).font, Theme.callout, name);
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
            compare(pane.edit.text, "Nothing yet.");
            compare(pane.edit.font, Theme.monospaced);
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
            compare(pane.edit.font, Theme.monospaced);
            verify(pane.edit.readOnly);

            model.log.lines = [];
            tryCompare(pane.edit, "text", "Nothing yet.");
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
