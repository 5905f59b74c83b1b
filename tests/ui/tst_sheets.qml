import QtQuick
import QtTest
import Brindle

// Tests that the three sheets open, show their content, act and close.
Item {
    id: stage
    width: 640
    height: 640

    ViewCase {
        name: "Sheets"

        // Opens a sheet as its button does. Then `child` finds the sheet's items.
        property var sheet
        function open(name) {
            view[name + "Shown"] = true;
            sheet = item(name + "Sheet");
            tryCompare(sheet, "opened", true);
            settle();
        }
        function close(name) {
            view[name + "Shown"] = false;
            tryCompare(item(name + "Sheet"), "visible", false);
        }
        function child(name) {
            const found = findChild(sheet.view, name);
            verify(found, name);
            return found;
        }
        function label(text, below = sheet.contentItem) {
            for (const child of Array.from(below.children)) {
                const found = child.text === text && child.lineCount ? child : label(text, child);
                if (found)
                    return found;
            }
            return null;
        }

        function test_opening_data() {
            return [
                { tag: "log", button: "showLogButton", text: "Close", width: 600, height: 420 },
                { tag: "settings", button: "settingsButton", text: "Done", width: 420 },
                { tag: "about", button: "aboutButton", text: "Done", width: 440 }
            ];
        }
        function test_opening(data) {
            sheet = item(data.tag + "Sheet");
            verify(!sheet.view);
            const opener = item(data.button);
            opener.forceActiveFocus(Qt.TabFocusReason);
            mouseClick(opener);
            tryCompare(sheet, "opened", true);
            verify(sheet.modal);
            mouseClick(stage, 5, 5);
            verify(sheet.opened);
            compare(sheet.width, data.width);
            compare(sheet.height, data.height ?? sheet.height);
            verify(Math.abs(2 * sheet.x + sheet.width - stage.width) <= 2);
            verify(Math.abs(2 * sheet.y + sheet.height - stage.height) <= 2);
            for (const key of [Qt.Key_Return, Qt.Key_Enter, Qt.Key_Escape, null]) {
                open(data.tag);
                if (key === null) {
                    compare([child("closeButton").text, child("closeButton").font], [data.text, Theme.headline]);
                    mouseClick(child("closeButton"));
                } else {
                    keyClick(Qt.Key_Backtab); // away from the button
                    keyClick(key);
                }
                compare(view[data.tag + "Shown"], false);
                tryVerify(() => !sheet.view);
                tryVerify(() => opener.activeFocus);
            }
            compare(model.calls, []);
        }

        function test_aSheetGrowsWithItsContent() {
            open("about");
            const before = sheet.height;
            model.copyright = "one\ntwo\nthree";
            tryVerify(() => sheet.height > before);
            verify(Math.abs(2 * sheet.y + sheet.height - stage.height) <= 2);
        }

        // Sheets slide and fade, unless the desktop asks for less motion.
        function test_motion() {
            open("about");
            compare([sheet.slide, sheet.opacity], [0, 1]);
            compare(sheet.background.radius, 12);
            close("about");
            compare(sheet.slide, 24);
            Theme.still = false;
            view.aboutShown = true;
            tryVerify(() => sheet.slide > 0 && sheet.opacity < 1);
            tryVerify(() => sheet.opened && sheet.slide === 0 && sheet.opacity === 1);
        }

        // Items must stand in one column. The items of each of `rows` must stand side by side.
        function test_places_data() {
            return [
                { tag: "settings", padding: 20, spacing: 12, rows: [["savesButton", "revealButton"]],
                  fonts: { "Settings": Theme.title2, "Window": Theme.body, "Resolution": Theme.body, "Windowed": Theme.segment }, column: [
                    "Settings", "windowPicker", "resolutionPicker", "divider", "upkeep", "divider", "savesButton", "closeButton"] },
                { tag: "about", padding: 20, spacing: 10, rows: [],
                  fonts: { "About Brindle": Theme.title2, "Game: Brindle\nCopyright (c) 2023 Tessel Works\nLicence: MIT License": Theme.body }, column: [
                    "About Brindle", "aboutGame", "aboutRepository", "aboutEngine", "repositoryLink", "aboutLauncher", "closeButton"] },
                { tag: "log", padding: 16, spacing: 10, rows: [["copyLogButton", "closeButton"]], fonts: { "Log": Theme.headline, "Nothing yet.": Theme.monospaced, "Copy": Theme.body }, column: [
                    "Log", "logPane", "copyLogButton"] }
            ];
        }
        function test_places(data) {
            open(data.tag);
            const dividers = [];
            const collect = item => {
                if (item.objectName === "divider" && item.visible)
                    dividers.push(item);
                Array.from(item.children).forEach(collect);
            };
            collect(sheet.contentItem);
            const place = item => item.mapToItem(sheet.contentItem, 0, 0, item.width, item.height);
            let y = data.padding - data.spacing;
            for (const name of data.column) {
                const item = name === "divider" ? dividers.shift() : label(name) ?? child(name);
                compare(place(item).top, y + data.spacing, name);
                if (name !== "closeButton")
                    compare(place(item).left, data.padding, name);
                y = place(item).bottom;
                verify(name !== "divider" || item.height === 1);
            }
            compare(y, sheet.height - data.padding);
            fuzzyCompare(child("sheetScroller").contentHeight, child("sheetScroller").height, 1);
            compare(dividers.length, 0);
            compare(place(child("closeButton")).right, sheet.width - data.padding);
            for (const text in data.fonts)
                compare(label(text).font, data.fonts[text], text);
            for (const [left, right] of data.rows) {
                compare(place(child(right)).top, place(child(left)).top);
                verify(place(child(right)).left >= place(child(left)).right + Theme.buttonSpacing);
            }
        }

        // Settings

        function test_pickers_data() {
            return [
                { tag: "windowPicker", label: "Window", options: ["Windowed", "Fullscreen"], property: "fullscreen", values: [false, true] },
                { tag: "resolutionPicker", label: "Resolution", property: "resolution", values: [0, 1, 2, 3, 4],
                  options: ["Game default", "1280x720", "1600x900", "1920x1080", "2560x1440"] }
            ];
        }
        function test_pickers(data) {
            open("settings");
            const picker = child(data.tag);
            compare([picker.label, picker.options, picker.current, picker.spacing], [data.label, data.options, 0, 6]);
            model[data.property] = data.values[1];
            compare(picker.current, 1);
            const segments = data.options.map(option => child("segment " + option));
            compare(picker.naturalWidth, Math.ceil(segments.reduce((sum, each) => sum + each.implicitContentWidth + 12, 4)));
            mouseMove(picker, 1, 1);
            compare(segments.slice(0, 2).map(each => each.contentItem.color), [Theme.secondary, Theme.text]);
            mouseMove(segments[0]);
            tryVerify(() => Qt.colorEqual(segments[0].contentItem.color, Theme.text));
            const last = segments[segments.length - 1];
            fuzzyCompare(last.x + last.width + 2 * 2, picker.width, 0.1);
            for (let i = 0; i < data.values.length; ++i) {
                mouseClick(child("segment " + data.options[i]));
                compare([model[data.property], picker.current], [data.values[i], i]);
            }
        }

        function test_arrowsChoose() {
            open("settings");
            child("segment Game default").forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Right);
            compare(model.resolution, 1);
            verify(child("segment 1280x720").activeFocus);
            verify(child("segment 1280x720").z > child("segment 1600x900").z);
            keyClick(Qt.Key_Left);
            keyClick(Qt.Key_Left);
            compare(model.resolution, 0);
            verify(child("segment Game default").activeFocus);
        }

        function test_upkeep_data() {
            return [
                { tag: "updateGame", button: "updateButton", text: "Update the game (download again, keep saves)" },
                { tag: "reinstall", button: "reinstallButton", text: "Reinstall (game and engine)" },
                { tag: "removeEverything", button: "removeButton", text: "Remove everything (frees 486.2 MB)" }
            ];
        }
        function test_upkeep(data) {
            model.storageSize = "486.2 MB";
            open("settings");
            const button = child(data.button);
            compare(button.text, data.text);
            compare(button.height, Math.ceil(button.implicitContentHeight) + 16);
            compare(button.destructive, data.tag === "removeEverything");
            compare(Qt.colorEqual(button.contentItem.color, Theme.errorText), button.destructive);
            mouseClick(button);
            compare(model.calls, [data.tag]);
            compare(view.settingsShown, false);
        }

        function test_whileBusy() {
            model.enter("Playing");
            open("settings");
            for (const name of ["updateButton", "reinstallButton", "removeButton"]) {
                verify(!child(name).enabled, name);
                mouseClick(child(name));
            }
            compare(model.calls, []);
            mouseClick(child("segment Fullscreen"));
            mouseClick(child("segment 1920x1080"));
            compare([model.fullscreen, model.resolution], [true, 3]);
            compare([child("savesButton").text, child("revealButton").text], ["Show saves", "Reveal in Finder"]);
            mouseClick(child("savesButton"));
            mouseClick(child("revealButton"));
            compare(model.calls, ["showSaves", "revealInFinder"]);
            verify(view.settingsShown);
        }

        function test_theRemoveButtonKeepsItsPlace() {
            model.storageSize = "…";
            open("settings");
            const button = child("removeButton");
            compare(button.text, "Remove everything (frees …)");
            const places = () => [button.x, button.y, button.width, button.height, sheet.height];
            const before = places();
            compare([child("upkeep").width - button.width, child("upkeep").height - 3 * button.height], [6, 6 + 4 * 2 + 2 * 1]);
            model.storageSize = "1.23 GB";
            settle();
            compare(places(), before);
        }

        // About and log

        function test_about() {
            model.name = "<i>Game</i>";
            model.copyright = "(c) someone";
            model.licenseName = "GPL";
            open("about");
            const game = child("aboutGame");
            compare([game.text, game.textFormat], ["Game: <i>Game</i>\n(c) someone\nLicence: GPL", Text.PlainText]);
            verify(child("aboutRepository").text.includes("GPL"));
            for (const name of ["aboutRepository", "aboutEngine", "repositoryLink", "aboutLauncher"])
                compare(child(name).font, Theme.callout, name);
            compare(child("aboutLauncher").color, Theme.secondary);
            mouseClick(child("repositoryLink"));
            keyClick(Qt.Key_Tab);
            keyClick(Qt.Key_Space);
            compare(model.calls, ["openRepository", "openRepository"]);
            verify(view.aboutShown);
        }
    }
}
