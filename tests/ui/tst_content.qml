import QtQuick
import QtTest
import Brindle

Item {
    id: stage
    width: 560
    height: 640

    Component {
        id: standIn
        StandIn {}
    }
    Component {
        id: contentView
        ContentView { anchors.fill: parent }
    }

    TestCase {
        name: "ContentView"
        when: windowShown

        property var model
        property var view

        function init() {
            failOnWarning(/.?/);
            parent.Window.window.requestActivate();
            tryCompare(parent.Window.window, "active", true);
            model = standIn.createObject(stage); // outlives the view
            view = createTemporaryObject(contentView, stage, { "model": model });
            waitForRendering(view);
        }

        function item(name) {
            const found = findChild(view, name);
            verify(found, name);
            return found;
        }
        function topOf(name) {
            return item(name).mapToItem(view, 0, 0).y;
        }
        function bottomOf(name) {
            return topOf(name) + item(name).height;
        }

        function test_orderAndSpacing() {
            compare(item("hero").mapToItem(view, 0, 0), Qt.point(24, 24));
            compare(item("hero").width, 560 - 48);
            compare(item("hero").height, 130);
            compare(topOf("name") - bottomOf("hero"), 14);
            compare(topOf("tagline") - bottomOf("name"), 4);
            compare(topOf("licenseLine") - bottomOf("tagline"), 4);
            compare(topOf("controlsBox") - bottomOf("licenseLine"), 14);
            compare(topOf("performanceHint") - bottomOf("controlsBox"), 14);
            compare(topOf("status") - bottomOf("performanceHint"), 14);
            compare(topOf("playArea") - bottomOf("status"), 14);
            verify(!item("failure").visible);
            compare(topOf("showLogButton") - bottomOf("playArea"), 14);
            compare(item("scroller").contentHeight - bottomOf("showLogButton"), 24);

            model.hasFailure = true;
            waitForRendering(view);
            compare(topOf("failure") - bottomOf("playArea"), 14);
            compare(topOf("showLogButton") - bottomOf("failure"), 14);
        }

        function test_hero() {
            const hero = item("hero");
            compare(hero.radius, 14);
            compare(hero.gradient.length, 3);
            verify(Qt.colorEqual(hero.gradient[0], Qt.rgba(0.08, 0.12, 0.30, 1)));
            verify(Qt.colorEqual(hero.gradient[1], Qt.rgba(0.55, 0.20, 0.35, 1)));
            verify(Qt.colorEqual(hero.gradient[2], Qt.rgba(0.95, 0.55, 0.20, 1)));
        }

        function test_texts() {
            model.name = "A game";
            model.tagline = "What it is.";
            model.licenseName = "GPL";
            model.copyright = "(c) someone";
            compare(item("name").text, "A game");
            compare(item("name").font, Theme.largeTitle);
            compare(item("tagline").text, "What it is.");
            compare(item("tagline").font, Theme.callout);
            compare(item("tagline").color, Theme.secondary);
            compare(item("tagline").horizontalAlignment, Text.AlignHCenter);
            compare(item("licenseLine").text, "GPL \u00b7 (c) someone");
            compare(item("licenseLine").font, Theme.caption);
            compare(item("performanceHint").text, "This is a 3D game: it runs best on a fast Mac (Apple silicon recommended).");
            compare(item("performanceHint").font, Theme.caption);
        }

        function test_controls() {
            compare(item("controlsHeading").text, "Controls");
            compare(item("controlsHeading").font, Theme.headline);
            verify(item("noControls").visible);
            compare(item("noControls").text, "The README does not list controls: see README.");
            compare(findChild(view, "control"), null);

            model.controls = ["W: up", "S: down"];
            waitForRendering(view);
            verify(!item("noControls").visible);
            const column = item("controlsHeading").parent;
            const shown = [];
            for (let i = 0; i < column.children.length; ++i) {
                if (column.children[i].objectName === "control")
                    shown.push(column.children[i].text);
            }
            compare(shown, ["W: up", "S: down"]);
            compare(item("controlsBox").radius, 10);
            verify(Math.abs(item("controlsBox").color.a - 0.1) < 0.01);
        }

        function test_firstLook() {
            compare(item("statusTitle").text, "Not downloaded");
            verify(item("playButton").enabled);
            verify(item("downloadHint").visible);
            verify(!item("stepText").visible);
            verify(!item("progressGroup").visible);
            verify(!item("failure").visible);
        }

        function test_whilePlaying() {
            model.phase = "playing";
            model.stepText = "The game is open";
            model.gameRunning = true;
            model.canPlay = false;
            verify(!item("stepText").visible);
            verify(!item("progressGroup").visible);
            verify(item("playingNote").visible);
            verify(!item("playButton").visible);
            verify(item("stopButton").visible);
        }

        function test_sheets_data() {
            return [
                { tag: "log", button: "showLogButton", text: "Show log", flag: "logShown" },
                { tag: "settings", button: "settingsButton", text: "Settings", flag: "settingsShown" },
                { tag: "about", button: "aboutButton", text: "About", flag: "aboutShown" }
            ];
        }
        function test_sheets(data) {
            compare(view[data.flag], false);
            const sheet = item(data.tag + "Sheet");
            compare(sheet.item, null);
            const button = item(data.button);
            compare(button.text, data.text);
            // Bring it into view first: the window is as small as it gets.
            button.forceActiveFocus(Qt.TabFocusReason);
            mouseClick(button);
            compare(view[data.flag], true);
            verify(sheet.item);
            tryCompare(sheet.item, "visible", true);
            compare(sheet.item.modality, Qt.WindowModal);
            compare(sheet.item.minimumWidth, sheet.item.maximumWidth);
            compare(sheet.item.minimumHeight, sheet.item.maximumHeight);

            sheet.item.close();
            compare(view[data.flag], false);
            tryCompare(sheet, "item", null);
        }

        function test_longTextsKeepTheLayout_data() {
            return [
                { tag: "long words", text: "Supercalifragilistic ".repeat(15) },
                { tag: "one word", text: "x".repeat(300) },
                { tag: "right to left", text: "لعبة استراتيجية في الوقت الحقيقي ".repeat(9) },
                { tag: "emoji", text: "🎮🏰⚔️".repeat(60) },
                { tag: "lines", text: "a\nb\nc\nd\ne" }
            ];
        }
        function test_longTextsKeepTheLayout(data) {
            model.name = data.text;
            model.tagline = data.text;
            model.licenseName = data.text;
            model.copyright = "";
            model.controls = Array(8).fill(data.text);
            model.phase = "needs";
            model.needsMessage = data.text;
            model.hasFailure = true;
            model.failureSummary = data.text;
            model.failureText = data.text;
            waitForRendering(view);
            let previous = 0;
            for (const name of ["hero", "name", "tagline", "licenseLine", "controlsBox", "performanceHint",
                                "status", "playArea", "failure", "showLogButton"]) {
                verify(topOf(name) >= previous, name);
                previous = bottomOf(name);
                const x = item(name).mapToItem(view, 0, 0).x;
                verify(x >= 24, name);
                verify(x + item(name).width <= 560 - 24, name);
            }
            for (const name of ["tagline", "licenseLine", "needsMessage", "failureSummary"]) {
                verify(item(name).contentWidth <= item(name).width, name);
                verify(!item(name).truncated, name);
            }
            verify(item("name").lineCount <= 3);
            verify(item("name").contentWidth <= item("name").width);
            compare(item("scroller").contentWidth, 560);
        }

        function test_downloadedTextIsPlain() {
            model.controls = ["<b>W</b>"];
            waitForRendering(view);
            for (const name of ["name", "tagline", "licenseLine", "control", "failureSummary"])
                compare(item(name).textFormat, Text.PlainText);
        }

        function test_focusGoesInReadingOrder() {
            model.phase = "needs";
            model.canCancel = true;
            model.hasFailure = true;
            model.failureText = "x";
            waitForRendering(view);
            const names = ["cancelButton", "playButton", "failureText", "copyFailureButton",
                           "showLogButton", "settingsButton", "aboutButton"];
            item("cancelButton").forceActiveFocus(Qt.TabFocusReason);
            for (const name of names) {
                const focused = name === "failureText" ? item(name).edit : item(name);
                verify(focused.activeFocus, name);
                // What has the focus can be seen.
                const shown = name === "failureText" ? item(name) : focused;
                const y = shown.mapToItem(view, 0, 0).y;
                verify(y >= 0 && y + shown.height <= view.height, name);
                keyClick(Qt.Key_Tab);
            }
            verify(item("cancelButton").activeFocus);
            keyClick(Qt.Key_Backtab);
            verify(item("aboutButton").activeFocus);
        }

        function test_playHasTheFirstFocus() {
            verify(item("playButton").activeFocus);
            keyClick(Qt.Key_Space);
            compare(model.calls, ["play"]);
        }

        // Whoever plays by keyboard or with a screen reader goes on from where a press left them.
        function test_playHasTheFocusAgain_data() {
            return [
                { tag: "after work", name: "playButton", canCancel: false, running: false },
                { tag: "after a game", name: "stopButton", canCancel: false, running: true },
                { tag: "after a cancelled download", name: "cancelButton", canCancel: true, running: false }
            ];
        }
        function test_playHasTheFocusAgain(data) {
            model.canPlay = false;
            model.canCancel = data.canCancel;
            model.gameRunning = data.running;
            waitForRendering(view);
            if (data.name !== "playButton") {
                item(data.name).forceActiveFocus(Qt.TabFocusReason);
                tryVerify(() => item(data.name).activeFocus);
            }
            model.canCancel = false;
            model.gameRunning = false;
            model.canPlay = true;
            tryVerify(() => item("playButton").activeFocus);
        }
        function test_focusStaysWhereThePlayerPutIt() {
            item("aboutButton").forceActiveFocus(Qt.TabFocusReason);
            model.canPlay = false;
            waitForRendering(view);
            model.canPlay = true;
            waitForRendering(view);
            wait(0);
            verify(item("aboutButton").activeFocus);
        }
        function test_stopIsNeverGivenTheFocus() {
            // Or a second press of the key that started the game would end it.
            model.canPlay = false;
            model.gameRunning = true;
            waitForRendering(view);
            wait(0);
            verify(!item("stopButton").activeFocus);
        }

        function test_keysScroll() {
            model.hasFailure = true;
            waitForRendering(view);
            const scroller = item("scroller");
            const last = scroller.contentHeight - scroller.height;
            verify(last > 0);
            keyClick(Qt.Key_End);
            compare(scroller.contentY, last);
            keyClick(Qt.Key_Home);
            compare(scroller.contentY, 0);
            keyClick(Qt.Key_Down);
            verify(scroller.contentY > 0);
            keyClick(Qt.Key_Up);
            compare(scroller.contentY, 0);
        }

        function test_quitShortcut() {
            keySequence("Ctrl+Q");
            compare(model.calls, ["quit"]);
        }
    }
}
