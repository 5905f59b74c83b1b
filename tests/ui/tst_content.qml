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
            // Spare room parts the game from its actions.
            verify(topOf("status") - bottomOf("performanceHint") > 14);
            compare(topOf("playArea") - bottomOf("status"), 14);
            verify(!item("failure").visible);
            compare(topOf("showLogButton") - bottomOf("playArea"), 14);
            compare(item("scroller").contentHeight, view.height);
            compare(view.height - bottomOf("showLogButton"), 24);

            model.hasFailure = true;
            tryVerify(() => topOf("status") - bottomOf("performanceHint") === 14);
            tryVerify(() => topOf("playArea") - bottomOf("status") === 14);
            compare(topOf("failure") - bottomOf("playArea"), 14);
            compare(topOf("showLogButton") - bottomOf("failure"), 14);
        }

        function test_margins() {
            for (const name of ["hero", "name", "tagline", "licenseLine", "controlsBox", "status", "playArea"]) {
                compare(item(name).mapToItem(view, 0, 0).x, 24, name);
                compare(item(name).width, 560 - 48, name);
            }
            compare(topOf("hero"), 24);
            compare(item("scroller").contentHeight - bottomOf("aboutButton"), 24);
        }

        // The places in the window of what is to be in its middle.
        function verifyCentred(left, right) {
            verify(Math.abs((left + right) / 2 - 280) <= 1, left + " to " + right);
        }

        function test_theBoltAndItsTextAreCentredTogether() {
            const bolt = item("bolt");
            const hint = item("performanceHint");
            const left = bolt.mapToItem(view, 0, 0).x;
            const textLeft = hint.mapToItem(view, 0, 0).x;
            compare(hint.lineCount, 1);
            verify(hint.width - hint.contentWidth < 2);
            verifyCentred(left, textLeft + hint.width);
            compare(textLeft - left - bolt.width, 4);
            compare(bolt.name, "bolt");
            compare(bolt.width, Theme.caption.pixelSize + 2);
            compare(bolt.color, Theme.secondary);
        }

        function test_theRowOfButtons() {
            const left = name => item(name).mapToItem(view, 0, 0).x;
            const right = name => left(name) + item(name).width;
            compare(left("settingsButton") - right("showLogButton"), 8);
            compare(left("aboutButton") - right("settingsButton"), 8);
            verifyCentred(left("showLogButton"), right("aboutButton"));
            for (const name of ["showLogButton", "settingsButton", "aboutButton"])
                compare(item(name).font, Theme.body);
        }

        function test_playStaysWhileRowsComeAndGo() {
            model.enter("Ready");
            waitForRendering(view);
            const before = topOf("playArea");
            const title = topOf("statusTitle");
            model.enter("Downloading");
            waitForRendering(view);
            compare(topOf("playArea"), before);
            verify(topOf("statusTitle") < title);
        }

        function test_hero() {
            const hero = item("hero");
            compare(hero.radius, 14);
            compare(hero.gradient.length, 3);
            verify(Qt.colorEqual(hero.gradient[0], Qt.rgba(0.08, 0.12, 0.30, 1)));
            verify(Qt.colorEqual(hero.gradient[1], Qt.rgba(0.55, 0.20, 0.35, 1)));
            verify(Qt.colorEqual(hero.gradient[2], Qt.rgba(0.95, 0.55, 0.20, 1)));

            // From the top left to the bottom right.
            waitForRendering(view);
            const image = grabImage(view);
            const at = (x, y) => ({ red: image.red(24 + x, 24 + y), blue: image.blue(24 + x, 24 + y) });
            verify(at(20, 65).blue > at(20, 65).red);
            verify(at(490, 65).red > at(490, 65).blue);
            verify(at(100, 125).red > at(100, 5).red);
            const symbol = item("heroSymbol");
            compare(symbol.name, "flags");
            verify(Qt.colorEqual(symbol.color, Qt.rgba(1, 1, 1, 0.92)));
            verify(Qt.colorEqual(symbol.shadowColor, Qt.rgba(0, 0, 0, 0.33)));
            compare(symbol.shadowRadius, 6);
            compare(symbol.opacity, 1);
            // Without the room for its shadow.
            compare(symbol.width - 4 * symbol.shadowRadius, 110);
            compare(symbol.height, symbol.width);
            verifyCentred(symbol.mapToItem(view, 0, 0).x, symbol.mapToItem(view, symbol.width, 0).x);
            compare(symbol.y + symbol.height / 2, hero.height / 2);
        }

        function test_texts() {
            model.name = "A game";
            model.tagline = "What it is.";
            model.licenseName = "GPL";
            model.copyright = "(c) someone";
            compare(item("name").text, "A game");
            compare(item("name").font, Theme.largeTitle);
            compare(item("name").color, Theme.text);
            compare(item("name").horizontalAlignment, Text.AlignHCenter);
            compare(item("tagline").text, "What it is.");
            compare(item("tagline").font, Theme.callout);
            compare(item("tagline").color, Theme.secondary);
            compare(item("tagline").horizontalAlignment, Text.AlignHCenter);
            compare(item("licenseLine").text, "GPL \u00b7 (c) someone");
            compare(item("licenseLine").font, Theme.caption);
            compare(item("licenseLine").color, Theme.secondary);
            compare(item("licenseLine").horizontalAlignment, Text.AlignHCenter);
            compare(item("performanceHint").text, "This is a 3D game: it runs best on a fast Mac (Apple silicon recommended).");
            compare(item("performanceHint").font, Theme.caption);
            compare(item("performanceHint").color, Theme.secondary);
        }

        function test_controls() {
            compare(item("controlsHeading").text, "Controls");
            compare(item("controlsHeading").font, Theme.headline);
            verify(item("noControls").visible);
            compare(item("noControls").text, "The README does not list controls: see README.");
            compare(item("noControls").font, Theme.callout);
            compare(item("noControls").color, Theme.secondary);
            compare(findChild(view, "control"), null);

            model.controls = ["W: up", "S: down"];
            waitForRendering(view);
            verify(!item("noControls").visible);
            const box = item("controlsBox");
            const column = item("controlsHeading").parent;
            compare(column.x, 12);
            compare(column.y, 12);
            compare(column.width, box.width - 24);
            compare(column.height, box.height - 24);
            compare(column.spacing, 4);
            compare(item("control").y - item("controlsHeading").height, 4);
            compare(item("control").font, Theme.callout);
            compare(item("control").color, Theme.text);
            compare(item("control").horizontalAlignment, Text.AlignLeft);
            const shown = [];
            for (let i = 0; i < column.children.length; ++i) {
                if (column.children[i].objectName === "control")
                    shown.push(column.children[i].text);
            }
            compare(shown, ["W: up", "S: down"]);
            compare(item("controlsBox").radius, 10);
            verify(Qt.colorEqual(item("controlsBox").color, Theme.box));
        }

        function test_noMoreControlsThanAnyoneReads() {
            model.controls = Array(1000).fill("W: up");
            const column = item("controlsHeading").parent;
            let shown = 0;
            for (let i = 0; i < column.children.length; ++i)
                shown += column.children[i].objectName === "control" ? 1 : 0;
            compare(shown, 50);
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
            model.phase = Phase.Playing;
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
            verify(sheet && !sheet.view);
            const button = item(data.button);
            compare(button.text, data.text);
            // Bring it into view first: the window is as small as it gets.
            button.forceActiveFocus(Qt.TabFocusReason);
            mouseClick(button);
            compare(view[data.flag], true);
            tryCompare(sheet, "opened", true);
            verify(sheet.view);
            keyClick(Qt.Key_Escape);
            compare(view[data.flag], false);
            tryVerify(() => !sheet.view);
            verify(button.activeFocus);
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
            model.phase = Phase.Needs;
            model.needsMessage = data.text;
            model.hasFailure = true;
            model.failureSummary = data.text;
            model.failureText = data.text;
            waitForRendering(view);
            let previous = topOf("hero");
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
            model.phase = Phase.Needs;
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

        function focused() {
            return view.Window.activeFocusItem;
        }
        function hasRing(control) {
            const rings = [];
            const collect = above => {
                for (let i = 0; i < above.children.length; ++i) {
                    const child = above.children[i];
                    if (child.target === control && child.visible)
                        rings.push(child);
                    collect(child);
                }
            };
            collect(view);
            return rings.length === 1;
        }

        function test_everyTransitionByKeyboard_data() {
            const phases = createTemporaryObject(standIn, stage).phases;
            const rows = [];
            for (const from of phases) {
                for (const to of phases)
                    rows.push({ tag: from + " to " + to, from: from, to: to });
            }
            return rows;
        }
        // Whatever has the focus when a state ends: no press does what no visible control says, and
        // a control that got the focus by itself ends nothing.
        function test_everyTransitionByKeyboard(data) {
            const presses = { playButton: "play", stopButton: "stop", cancelButton: "cancel", copyFailureButton: "copyFailure" };
            model.hasFailure = true;
            for (let stop = 0; stop < 8; ++stop) {
                model.enter(data.from);
                item("aboutButton").forceActiveFocus();
                for (let i = 0; i <= stop; ++i)
                    keyClick(Qt.Key_Tab);
                const before = focused();
                model.enter(data.to);
                wait(0);
                const name = before.objectName + ", " + focused().objectName;
                verify(focused().visible && focused().enabled, name);
                verify(hasRing(focused()), name);
                if (focused() !== before)
                    verify(!["stopButton", "cancelButton"].includes(focused().objectName), name);
                model.calls = [];
                const press = presses[focused().objectName];
                keyClick(Qt.Key_Space);
                compare(model.calls, press ? [press] : [], name);
                view.settingsShown = view.aboutShown = view.logShown = false;
                tryVerify(() => !findChild(view, "logSheet").visible);
            }
        }

        function test_playHasTheFocusAgainAfterARun() {
            item("playButton").forceActiveFocus();
            for (const phase of ["Downloading", "SettingUp", "Starting", "Playing"]) {
                model.enter(phase);
                tryVerify(() => item("showLogButton").activeFocus);
            }
            model.enter("Ready");
            tryVerify(() => item("playButton").activeFocus);
        }

        function test_theRingFollowsTheLastInput() {
            item("playButton").forceActiveFocus();
            mouseClick(item("controlsBox"));
            verify(!hasRing(item("playButton")));
            keyClick(Qt.Key_Tab);
            verify(!hasRing(item("playButton")));
            verify(hasRing(item("showLogButton")));
        }

        function test_cancelAnswersAtOnce() {
            model.enter("Downloading");
            const cancel = item("cancelButton");
            tryCompare(findChild(cancel, "guard"), "visible", false);
            cancel.forceActiveFocus(Qt.TabFocusReason);
            mouseClick(cancel);
            compare(model.calls, ["cancel"]);
            verify(!cancel.enabled);
            verify(Qt.colorEqual(cancel.fill, Theme.faceDown));
            model.enter("SettingUp");
            verify(!cancel.enabled);
            model.enter("Ready");
            model.enter("Downloading");
            verify(cancel.enabled);
        }

        function test_copyConfirms() {
            model.hasFailure = true;
            const copy = item("copyFailureButton");
            const mark = findChild(copy, "copied");
            copy.forceActiveFocus();
            const width = copy.width;
            compare(mark.name, "");
            keyClick(Qt.Key_Space);
            compare(model.calls, ["copyFailure"]);
            compare(mark.name, "check");
            compare(copy.width, width);
            tryCompare(mark, "name", "");
        }

        function test_pressedAndHovered_data() {
            return [{ tag: "playButton" }, { tag: "showLogButton" }];
        }
        function test_pressedAndHovered(data) {
            const button = item(data.tag);
            tryVerify(() => !findChild(button, "guard")?.visible);
            button.forceActiveFocus(Qt.TabFocusReason);
            mouseMove(stage, 1, 1);
            const fills = [String(button.fill)];
            mouseMove(button);
            tryVerify(() => button.hovered);
            fills.push(String(button.fill));
            mousePress(button);
            fills.push(String(button.fill));
            compare(new Set(fills).size, 3);
            mouseRelease(stage, 1, 1);
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

        function test_aMouseDragsNothing_data() {
            return [{ tag: "controlsBox" }, { tag: "playButton" }];
        }
        function test_aMouseDragsNothing(data) {
            model.controls = Array(20).fill("a line");
            waitForRendering(view);
            const scroller = item("scroller");
            const last = scroller.contentHeight - scroller.height;
            verify(last > 100);
            scroller.contentY = last;
            const place = item(data.tag).mapToItem(view, 20, 10);
            verify(place.y > 0);
            mouseDrag(view, place.x, place.y, 0, 200);
            compare(scroller.contentY, last);
            // The wheel still does, there.
            mouseWheel(view, place.x, place.y, 0, 120);
            tryVerify(() => scroller.contentY < last);
        }

        function test_theScrollBarIsDragged() {
            model.controls = Array(20).fill("a line");
            waitForRendering(view);
            mouseDrag(view, view.width - 5, 100, 0, 100);
            verify(item("scroller").contentY > 50);
        }

        function test_touchAndWheelScroll() {
            model.controls = Array(20).fill("a line");
            waitForRendering(view);
            const scroller = item("scroller");
            mouseWheel(view, 10, 300, 0, -120);
            tryVerify(() => scroller.contentY > 0);
            tryVerify(() => !scroller.moving);
            scroller.contentY = 0;
            const touch = touchEvent(view);
            touch.press(0, view, 10, 400).commit();
            for (let y = 350; y >= 200; y -= 50) {
                touch.move(0, view, 10, y).commit();
                // Moves are delivered with the frames.
                waitForRendering(view);
            }
            verify(scroller.contentY > 0);
            touch.release(0, view, 10, 200).commit();
        }

        function test_aFailureIsScrolledIntoView() {
            const scroller = item("scroller");
            model.failureText = "a line\n".repeat(60) + "the last";
            model.phase = Phase.Needs;
            model.needsMessage = "The game closed.";
            verify(scroller.contentHeight <= scroller.height);
            model.hasFailure = true;
            tryVerify(() => scroller.contentY > 0);
            // All of it, with something around it, and what to press next.
            verify(bottomOf("failure") + 12 <= view.height);
            verify(topOf("playButton") >= 0);
            compare(item("copyFailureButton").mapToItem(view, 0, 0).y < view.height, true);

            // What the player scrolls stays.
            scroller.contentY = 0;
            model.needsMessage = "Another sentence.";
            waitForRendering(view);
            compare(scroller.contentY, 0);
        }

        function test_aFailureThatIsTallerThanTheWindowIsSeenFromItsTop() {
            model.failureSummary = "A sentence.\n".repeat(100);
            model.hasFailure = true;
            tryVerify(() => item("scroller").contentY > 0);
            verify(item("failure").height > view.height);
            compare(topOf("failure"), 12);
        }

        function test_quitShortcut() {
            keySequence("Ctrl+Q");
            compare(model.calls, ["quit"]);
        }
    }
}
