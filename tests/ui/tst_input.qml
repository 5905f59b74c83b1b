import QtQuick
import QtQuick.Templates as T
import QtTest
import Brindle

// Tests presses, focus and scrolling by mouse, touch and keyboard.
Item {
    id: stage
    width: 560
    height: 640

    ViewCase {
        name: "Input"

        // Pressing

        function test_aDoubleClickIsOnePress_data() {
            return [{ tag: "Play", button: "playButton", other: "stopButton", calls: ["play", "stop"] },
                    { tag: "Stop", button: "stopButton", other: "playButton", calls: ["stop", "play"] }];
        }
        function test_aDoubleClickIsOnePress(data) {
            model.quick = true;
            model.run(data.tag === "Stop");
            settle();
            takesClicks(data.button);
            mouseDoubleClickSequence(view, 280, place(data.button).top + 20);
            compare(model.calls, data.calls.slice(0, 1));
            verify(item(data.other).visible);
            press(data.other);
            compare(model.calls, data.calls);
        }

        function test_aSecondTapDoesNotStop() {
            model.quick = true;
            const touch = touchEvent(view);
            const y = place("playButton").top + 20;
            for (let tap = 0; tap < 2; ++tap) {
                touch.press(0, view, 280, y).commit();
                touch.release(0, view, 280, y).commit();
            }
            compare(model.calls, ["play"]);
            takesClicks("stopButton");
            touch.press(0, item("stopButton")).commit();
            touch.release(0, item("stopButton")).commit();
            compare(model.calls, ["play", "stop"]);
        }

        // The start of a click decides what it presses.
        function test_aLongSecondClickDoesNotStop() {
            model.quick = true;
            mouseClick(item("playButton"));
            mousePress(item("stopButton"));
            takesClicks("stopButton");
            mouseRelease(item("stopButton"));
            compare(model.calls, ["play"]);
        }

        function test_playGuardsWhenItCanBePressedAgain() {
            model.canPlay = false;
            model.canPlay = true;
            mouseClick(item("playButton"));
            compare(model.calls, []);
            press("playButton");
            compare(model.calls, ["play"]);
        }

        function test_keysAndScreenReadersNeedNotWait() {
            model.quick = true;
            keyClick(Qt.Key_Space);
            item("stopButton").forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Return);
            item("playButton").Accessible.pressAction();
            compare(model.calls, ["play", "stop", "play"]);
        }

        function test_cancelAnswersAtOnceAndOnce() {
            model.enter("Downloading");
            const cancel = item("cancelButton");
            settle();
            mouseDoubleClickSequence(cancel); // Cancel has just appeared
            compare(model.calls, []);
            takesClicks("cancelButton");
            cancel.forceActiveFocus(Qt.TabFocusReason);
            mouseClick(cancel);
            compare(model.calls, ["cancel"]);
            verify(!cancel.enabled);
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
            verify(!mark.visible);
            keyClick(Qt.Key_Space);
            compare(model.calls, ["copyFailure"]);
            compare([mark.visible, copy.width, mark.x + mark.width], [true, width, width - 6]);
            view.settingsShown = true;
            tryCompare(mark, "visible", false, 60000);
            tryVerify(() => model.measurements > 1, 60000, "the storage is measured again");
        }

        function test_pressedAndHovered_data() {
            return [{ tag: "playButton" }, { tag: "showLogButton" }];
        }
        function test_pressedAndHovered(data) {
            const button = item(data.tag);
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

        // The focus

        function focused() {
            return view.Window.activeFocusItem;
        }
        function hasRing(control, above = view) {
            return Array.from(above.children).some(child => child.target === control && child.visible || hasRing(control, child));
        }

        function test_theFocusGoesInReadingOrder() {
            model.phase = StatusView.Needs;
            model.canCancel = true;
            model.hasFailure = true;
            model.failureText = "x\n".repeat(60);
            settle();
            item("cancelButton").forceActiveFocus(Qt.TabFocusReason);
            for (const name of ["cancelButton", "playButton", "failureText", "copyFailureButton",
                                "showLogButton", "settingsButton", "aboutButton"]) {
                compare(focused(), item(name).edit ?? item(name), name);
                verify(place(name).top >= 0 && place(name).bottom <= view.height, name);
                keyClick(Qt.Key_Tab);
            }
            compare(focused(), item("cancelButton"));
            keyClick(Qt.Key_Backtab);
            compare(focused(), item("aboutButton"));
        }

        function test_everyTransitionByKeyboard_data() {
            return createTemporaryObject(standIn, stage).phases.map(phase => ({ tag: phase }));
        }
        // Any control may have the focus when a state ends. A press must then act on the visible
        // control with the focus. A control that got the focus by itself must end nothing.
        function test_everyTransitionByKeyboard(data) {
            model.hasFailure = true;
            for (const to of model.phases) {
                for (let stop = 0; stop < 8; ++stop)
                    verifyTransition(data.tag, to, stop);
            }
        }
        function verifyTransition(from, to, stop) {
            const presses = { playButton: "play", stopButton: "stop", cancelButton: "cancel", copyFailureButton: "copyFailure" };
            model.enter("Ready"); // a pressed Cancel can be pressed again
            model.enter(from);
            item("aboutButton").forceActiveFocus();
            for (let i = 0; i <= stop; ++i)
                keyClick(Qt.Key_Tab);
            const before = focused();
            model.enter(to);
            wait(0);
            const name = to + ": " + before.objectName + ", " + focused().objectName;
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

        function test_playHasTheFocusAgainAfterARun() {
            for (const phase of ["Downloading", "SettingUp", "Starting", "Playing"]) {
                model.enter(phase);
                tryVerify(() => item("showLogButton").activeFocus);
            }
            model.enter("Ready");
            tryVerify(() => item("playButton").activeFocus);
            // But Play leaves the focus alone if the player has moved on.
            model.enter("Downloading");
            tryVerify(() => item("showLogButton").activeFocus);
            item("aboutButton").forceActiveFocus(Qt.TabFocusReason);
            model.enter("Ready");
            settle();
            wait(0);
            verify(item("aboutButton").activeFocus);
        }

        function test_theRingFollowsTheLastInput() {
            verify(hasRing(item("playButton")));
            mouseClick(item("controlsBox"));
            verify(!hasRing(item("playButton")));
            keyClick(Qt.Key_Tab);
            verify(!hasRing(item("playButton")));
            verify(hasRing(item("showLogButton")));
            const ring = item("playButton").background.children[0];
            compare([ring.x, ring.width, ring.radius, ring.borderWidth], [-3, 266, 14, 2]);
        }

        // Scrolling

        // Fills the scroller with more than its height, and returns it.
        function longScroller() {
            model.controls = Array(20).fill("a line");
            settle();
            verify(item("scroller").lastY > 100);
            return item("scroller");
        }

        function test_keysScroll() {
            const scroller = longScroller();
            keyClick(Qt.Key_End);
            compare(scroller.contentY, scroller.lastY);
            keyClick(Qt.Key_Home);
            compare(scroller.contentY, 0);
            keyClick(Qt.Key_Down);
            compare(scroller.contentY, 40);
            keyClick(Qt.Key_Up);
            compare(scroller.contentY, 0);
            // A higher window shows more above, not below.
            scroller.contentY = 100;
            stage.height += 50;
            compare(scroller.contentY, 50);
            stage.height -= 50;
        }

        function test_theMouseDragsNothingAndTheWheelScrolls_data() {
            return [{ tag: "controlsBox" }, { tag: "playButton" }];
        }
        function test_theMouseDragsNothingAndTheWheelScrolls(data) {
            const scroller = longScroller();
            scroller.contentY = scroller.lastY;
            const [x, y] = [place(data.tag).left + 20, place(data.tag).top + 10];
            verify(y > 0);
            mouseDrag(view, x, y, 0, 200);
            compare(scroller.contentY, scroller.lastY);
            mouseWheel(view, x, y, 0, 120);
            tryVerify(() => scroller.contentY < scroller.lastY);
        }

        function test_theScrollBarIsDragged() {
            const bar = item("scroller").T.ScrollBar.vertical;
            verify(!bar.visible);
            const scroller = longScroller();
            compare([bar.visible, bar.minimumSize, bar.width, bar.contentItem.width, bar.contentItem.opacity], [true, 0.08, 11, 7, 0.7]);
            mouseDrag(view, view.width - 5, 100, 0, 100);
            verify(scroller.contentY > 50);
            mousePress(view, view.width - 5, 200);
            compare(bar.contentItem.opacity, 1);
            mouseRelease(view, view.width - 5, 200);
        }

        function test_touchScrolls() {
            const scroller = longScroller();
            const touch = touchEvent(view);
            touch.press(0, view, 10, 400).commit();
            for (let y = 350; y >= 200; y -= 50) {
                touch.move(0, view, 10, y).commit();
                settle(); // a frame delivers the moves
            }
            verify(scroller.contentY > 0);
            touch.release(0, view, 10, 200).commit();
        }

        function test_aFailureIsScrolledIntoView() {
            const scroller = item("scroller");
            model.failureText = "a line\n".repeat(60) + "the last";
            model.enter("Needs");
            model.needsMessage = "The game closed.";
            compare(scroller.lastY, 0);
            model.hasFailure = true;
            tryVerify(() => scroller.contentY > 0);
            compare(place("failure").bottom + 12, view.height);
            verify(place("playButton").top >= 0);

            // The view must stay where the player has scrolled.
            scroller.contentY = 0;
            model.needsMessage = "Another sentence.";
            settle();
            compare(scroller.contentY, 0);
        }

        function test_aFailureTallerThanTheWindowIsSeenFromItsTop() {
            model.failureSummary = "A sentence.\n".repeat(100);
            model.hasFailure = true;
            tryVerify(() => item("scroller").contentY > 0);
            verify(item("failure").height > view.height);
            compare(place("failure").top, 12);
        }
    }
}
