import QtQuick
import QtTest
import Brindle

Item {
    width: 560
    height: 640

    Component {
        id: standIn
        StandIn {}
    }
    Component {
        id: statusView
        StatusView { width: 512 }
    }

    TestCase {
        name: "StatusView"
        when: windowShown

        property var model
        property var view

        function init() {
            failOnWarning(/.?/);
            model = standIn.createObject(parent); // outlives the view
            view = createTemporaryObject(statusView, parent, { "model": model });
        }

        function row(name) {
            const item = findChild(view, name);
            verify(item, name);
            return item;
        }

        function test_circleAndTitle_data() {
            return [
                { tag: "NotDownloaded", color: Theme.gray, title: "Not downloaded" },
                { tag: "Downloading", color: Theme.orange, title: "Downloading" },
                { tag: "SettingUp", color: Theme.orange, title: "Setting up" },
                { tag: "Needs", color: Theme.red, title: "Needs something" },
                { tag: "Ready", color: Theme.green, title: "Ready" },
                { tag: "Starting", color: Theme.orange, title: "Starting\u2026" },
                { tag: "Playing", color: Theme.green, title: "Playing" }
            ];
        }
        function test_circleAndTitle(data) {
            model.phase = Phase[data.tag];
            verify(row("statusRow").visible);
            compare(row("statusTitle").text, data.title);
            const circle = row("statusCircle");
            verify(Qt.colorEqual(circle.color, data.color));
            compare(circle.width, 10);
            compare(circle.height, 10);
            compare(circle.radius, 5);
            compare(view.spacing, 6);
        }

        // Every state, with everything that the model could say at the same time.
        function test_rows_data() {
            return [
                { tag: "NotDownloaded", step: false, needs: false, playing: false },
                { tag: "Downloading", step: true, needs: false, playing: false },
                { tag: "SettingUp", step: true, needs: false, playing: false },
                { tag: "Needs", step: false, needs: true, playing: false },
                { tag: "Ready", step: false, needs: false, playing: false },
                { tag: "Starting", step: true, needs: false, playing: false },
                { tag: "Playing", step: false, needs: false, playing: true }
            ];
        }
        function test_rows(data) {
            model.phase = Phase[data.tag];
            model.stepText = "Step 1 of 3 · Downloading the game";
            model.needsMessage = "Something is missing.";
            compare(row("stepText").visible, data.step);
            compare(row("stepText").text, model.stepText);
            compare(row("needsMessage").visible, data.needs);
            compare(row("needsMessage").text, model.needsMessage);
            compare(row("playingNote").visible, data.playing);
            compare(row("playingNote").text, "The game is open in its own window.");
            compare(row("progressGroup").visible, false);

            model.canCancel = true;
            compare(row("progressGroup").visible, true);
            compare(row("stepText").visible, data.step);

            model.stepText = "";
            compare(row("stepText").visible, false);
        }

        function test_anEmptyStepTakesNoRoom() {
            model.phase = Phase.Downloading;
            waitForRendering(view);
            const without = view.height;
            compare(without, row("statusRow").height);
            model.stepText = "Step";
            tryVerify(() => view.height === without + 6 + row("stepText").height);
        }

        function test_aRemovalShowsThatItIsAtWork() {
            model.phase = Phase.Ready;
            verify(!row("progressBar").visible);
            model.removing = true;
            verify(row("progressBar").visible && row("progressBar").indeterminate);
            verify(!row("cancelButton").visible);
            model.removing = false;
            verify(!row("progressBar").visible);
        }

        function test_progress() {
            model.phase = Phase.Downloading;
            model.canCancel = true;
            const bar = row("progressBar");
            verify(bar.visible);
            verify(bar.indeterminate);
            compare(row("detail").visible, false);

            model.hasProgress = true;
            model.progress = 0.25;
            model.detail = "1 MB of 4 MB · 2 MB/s";
            verify(!bar.indeterminate);
            compare(bar.from, 0);
            compare(bar.to, 1);
            compare(bar.value, 0.25);
            compare(bar.visualPosition, 0.25);
            verify(row("detail").visible);
            compare(row("detail").text, model.detail);

            model.hasProgress = false;
            verify(bar.indeterminate);
        }

        // Behind the detail, or below it where one line has no room.
        function test_theTimeLeft() {
            model.phase = Phase.Downloading;
            model.canCancel = true;
            model.hasProgress = true;
            model.detail = "1 MB of 4 MB · 2 MB/s";
            verify(!row("timeLeft").visible);
            model.timeLeft = "About 2 minutes left";
            compare(row("progressBar").Accessible.description, model.timeLeft);
            compare(row("timeLeft").text, model.timeLeft);
            compare(row("timeLeft").font, Theme.caption);
            compare(row("detail").text, model.detail);
            waitForRendering(view);
            compare(row("timeLeft").y, row("detail").y);
            verify(row("timeLeft").x > row("detail").x + row("detail").width);
            view.width = 150;
            waitForRendering(view);
            verify(row("timeLeft").y >= row("detail").y + row("detail").height);
        }

        function test_theBarThatKnowsNoFraction() {
            model.phase = Phase.Downloading;
            model.canCancel = true;
            waitForRendering(view);
            const bar = row("progressBar");
            const piece = row("indeterminateBar");
            verify(piece.visible);
            compare(piece.width, 0.28 * view.width);
            compare(piece.height, 8);
            compare(piece.color, bar.contentItem.children[0].color);
            verify(!bar.contentItem.children[0].visible);
            Theme.still = false;
            const start = piece.x;
            tryVerify(() => piece.x !== start);
            verify(piece.x >= 0 && piece.x + piece.width <= bar.width);

            Theme.still = true;
            verify(!piece.moving);
            verify(piece.visible);
            Theme.still = false;
            verify(piece.moving);

            model.hasProgress = true;
            verify(!piece.visible);
            verify(!piece.moving);
            verify(bar.contentItem.children[0].visible);
        }

        // From one row to the next, whatever is shown.
        function test_distances() {
            model.phase = Phase.Downloading;
            model.stepText = "Step";
            model.detail = "1 MB of 4 MB";
            model.canCancel = true;
            waitForRendering(view);
            const top = name => row(name).mapToItem(view, 0, 0).y;
            const names = ["statusRow", "stepText", "progressBar", "detail", "cancelButton"];
            for (let i = 1; i < names.length; ++i) {
                // Cancel has room around it.
                const apart = names[i] === "cancelButton" ? 10 : 6;
                compare(top(names[i]) - top(names[i - 1]) - row(names[i - 1]).height, apart, names[i]);
            }
            compare(view.height, top("cancelButton") + row("cancelButton").height + 4);
            compare(row("progressBar").height, 8);
            compare(row("progressBar").width, view.width);

            model.stepText = "";
            model.detail = "";
            waitForRendering(view);
            compare(top("progressBar") - row("statusRow").height, 6);
            compare(top("cancelButton") - top("progressBar") - row("progressBar").height, 10);

            model.canCancel = false;
            model.phase = Phase.Needs;
            model.needsMessage = "Something is missing.";
            waitForRendering(view);
            compare(top("needsMessage") - row("statusRow").height, 6);
            model.phase = Phase.Playing;
            waitForRendering(view);
            compare(top("playingNote") - row("statusRow").height, 6);
        }

        function test_centred() {
            model.canCancel = true;
            waitForRendering(view);
            model.detail = "1 MB of 4 MB";
            waitForRendering(view);
            for (const name of ["statusRow", "detail", "cancelButton"]) {
                const left = row(name).mapToItem(view, 0, 0).x;
                verify(Math.abs(left + row(name).width / 2 - view.width / 2) <= 1, name);
            }
            for (const name of ["stepText", "needsMessage", "playingNote"]) {
                compare(row(name).width, view.width, name);
                compare(row(name).horizontalAlignment, Text.AlignHCenter, name);
            }
            compare(row("statusTitle").x - row("statusCircle").x - row("statusCircle").width, 8);
        }

        function test_cancel() {
            model.phase = Phase.SettingUp;
            model.canCancel = true;
            waitForRendering(view);
            const button = row("cancelButton");
            compare(button.text, "Cancel");
            // It may have appeared under the pointer, between two clicks.
            mouseDoubleClickSequence(button);
            compare(model.calls, []);
            tryCompare(findChild(button, "guard"), "visible", false);
            mouseClick(button);
            compare(model.calls, ["cancel"]);
        }

        function test_fontsAndColours() {
            compare(row("statusTitle").font, Theme.headline);
            compare(row("statusTitle").color, Theme.text);
            compare(row("stepText").font, Theme.callout);
            compare(row("stepText").color, Theme.text);
            compare(row("cancelButton").font, Theme.body);
            compare(row("detail").font, Theme.caption);
            compare(row("detail").color, Theme.secondary);
            compare(row("needsMessage").font, Theme.callout);
            compare(row("needsMessage").color, Theme.errorText);
            compare(row("needsMessage").horizontalAlignment, Text.AlignHCenter);
            compare(row("playingNote").font, Theme.callout);
            compare(row("playingNote").color, Theme.secondary);
        }

        function test_aLongMessageWraps() {
            model.phase = Phase.Needs;
            model.needsMessage = "A sentence that goes on. ".repeat(20);
            const message = row("needsMessage");
            verify(message.lineCount > 2);
            verify(!message.truncated);
            verify(message.contentWidth <= view.width);
        }

        function test_markupIsShownAsItIs() {
            model.phase = Phase.Needs;
            model.needsMessage = "<b>x</b>";
            compare(row("needsMessage").textFormat, Text.PlainText);
            compare(row("stepText").textFormat, Text.PlainText);
            compare(row("detail").textFormat, Text.PlainText);
        }
    }
}
