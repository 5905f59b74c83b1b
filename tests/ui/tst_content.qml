import QtQuick
import QtTest
import Brindle

// Tests each state's texts and controls, and their positions in the window.
Item {
    width: 560
    height: 640

    ViewCase {
        name: "ContentView"

        function test_states_data() {
            return [
                { tag: "NotDownloaded", color: Theme.gray, title: "Not downloaded", shown: ["playButton", "downloadHint"] },
                { tag: "Downloading", color: Theme.orange, title: "Downloading", shown: ["stepText", "progressGroup", "playButton"] },
                { tag: "SettingUp", color: Theme.orange, title: "Setting up", shown: ["stepText", "progressGroup", "playButton"] },
                { tag: "Needs", color: Theme.red, title: "Needs something", shown: ["needsMessage", "playButton"] },
                { tag: "Ready", color: Theme.green, title: "Ready", shown: ["playButton"] },
                { tag: "Starting", color: Theme.orange, title: "Starting\u2026", shown: ["stepText", "stopButton"] },
                { tag: "Playing", color: Theme.green, title: "Playing", shown: ["playingNote", "stopButton"] }
            ];
        }
        // Tests every state, while the model has a text for every row.
        function test_states(data) {
            model.stepText = "Step 1 of 3";
            model.needsMessage = "Something is missing.";
            model.enter(data.tag);
            compare(item("statusTitle").text, data.title);
            verify(Qt.colorEqual(item("statusCircle").color, data.color));
            for (const name of ["stepText", "progressGroup", "needsMessage", "playingNote", "playButton",
                                "stopButton", "downloadHint", "failure"])
                compare(item(name).visible, data.shown.includes(name), name);
            compare(item("playButton").enabled, model.canPlay);
            model.canCancel = true;
            verify(item("progressGroup").visible);
            model.stepText = "";
            verify(!item("stepText").visible);
        }

        function test_texts() {
            model.name = "A game";
            model.tagline = "What it is.";
            model.licenseName = "GPL";
            model.copyright = "(c) <b>someone</b>";
            model.stepText = "Step 1 of 3 · Downloading the game";
            model.detail = "1 MB of 4 MB · 2 MB/s";
            model.timeLeft = "About 2 minutes left";
            model.needsMessage = "Something is missing.";
            model.failureSummary = "The game closed.";
            const [centre, left] = [Text.AlignHCenter, Text.AlignLeft];
            const labels = {
                name: ["A game", Theme.largeTitle, Theme.text, centre],
                tagline: ["What it is.", Theme.callout, Theme.secondary, centre],
                licenseLine: ["GPL \u00b7 (c) <b>someone</b>", Theme.caption, Theme.secondary, centre],
                controlsHeading: ["Controls", Theme.headline, Theme.text, left],
                noControls: ["The README does not list controls: see README.", Theme.callout, Theme.secondary, left],
                performanceHint: ["This is a 3D game: it runs best on a fast Mac (Apple silicon recommended).", Theme.caption, Theme.secondary, centre],
                statusTitle: ["Not downloaded", Theme.headline, Theme.text, left],
                stepText: [model.stepText, Theme.callout, Theme.text, centre],
                detail: [model.detail, Theme.caption, Theme.secondary, centre],
                timeLeft: [model.timeLeft, Theme.caption, Theme.text, left],
                needsMessage: [model.needsMessage, Theme.callout, Theme.errorText, centre],
                playingNote: ["The game is open in its own window.", Theme.callout, Theme.secondary, centre],
                downloadHint: ["Downloads the game and the Godot engine once, about 110 MB. Nothing to type.", Theme.caption, Theme.secondary, centre],
                failureSummary: [model.failureSummary, Theme.callout, Theme.text, left]
            };
            for (const name in labels) {
                const label = item(name);
                compare([label.text, label.font, label.color, label.horizontalAlignment], labels[name], name);
                compare(label.textFormat, Text.PlainText, name);
                const isLong = ["licenseLine", "needsMessage", "failureSummary"].includes(name);
                compare(label.maxLength, isLong ? 2000 : 500, name);
            }
            const buttons = {
                cancelButton: ["Cancel", Theme.body, 7],
                playButton: ["Play", Theme.title, 11],
                stopButton: ["Stop", Theme.title2, 9],
                copyFailureButton: ["Copy", Theme.body, 7],
                showLogButton: ["Show log", Theme.body, 7],
                settingsButton: ["Settings", Theme.body, 7],
                aboutButton: ["About", Theme.body, 7]
            };
            for (const name in buttons)
                compare([item(name).text, item(name).font, item(name).radius], buttons[name], name);
            compare(item("playSymbol").name, "play");
        }

        // Compares the distances from the bottom of each item to the top of the next.
        function verifyDistances(names, distances) {
            const actual = () => distances.map((_, i) => place(names[i + 1]).top - place(names[i]).bottom);
            settle();
            tryVerify(() => String(actual()) === String(distances), 5000, names + ": " + actual());
        }
        function test_distances() {
            verifyDistances(["hero", "name", "tagline", "licenseLine", "controlsBox", "performanceHint"], [14, 4, 4, 14, 14]);
            // Spare room lies between the game and the actions.
            verify(place("status").top - place("performanceHint").bottom > 14);
            verifyDistances(["status", "playArea", "showLogButton"], [14, 14]);
            verifyDistances(["playButton", "downloadHint"], [8]);
            compare(place("hero").top, 24);
            compare(place("status").height, place("statusRow").height);
            compare(item("scroller").contentHeight, view.height);
            compare(view.height - place("showLogButton").bottom, 24);
            for (const name of ["hero", "name", "tagline", "licenseLine", "controlsBox", "status", "playArea"])
                compare([place(name).left, place(name).width], [24, 512], name);

            model.enter("Downloading");
            verifyDistances(["statusRow", "progressBar", "cancelButton"], [6, 6]);
            model.stepText = "Step";
            model.detail = "1 MB of 4 MB";
            verifyDistances(["statusRow", "stepText", "progressBar", "detail", "cancelButton", "playArea"], [6, 6, 6, 6, 14]);
            model.enter("Playing");
            verifyDistances(["statusRow", "playingNote", "stopButton"], [6, 14]);
            model.enter("Needs");
            model.needsMessage = "Something is missing.";
            model.hasFailure = true;
            verifyDistances(["statusRow", "needsMessage", "playArea", "failure", "showLogButton"], [6, 14, 14, 14]);
            verifyDistances(["performanceHint", "status"], [14]);
            verifyDistances(["failureSummary", "failureText", "copyFailureButton"], [8, 8]);
            compare(place("failureSummary").top - place("failure").top, 12);
            compare(place("failure").bottom - place("copyFailureButton").bottom, 12);
            for (const name of ["failureSummary", "failureText", "copyFailureButton"])
                compare(place(name).left, 24 + 12, name);
            compare(place("failureText").width, 512 - 24);
        }

        function test_playStaysWhileRowsComeAndGo() {
            model.enter("Ready");
            settle();
            const before = place("playArea").top;
            const title = place("statusTitle").top;
            model.enter("Downloading");
            settle();
            compare(place("playArea").top, before);
            verify(place("statusTitle").top < title);
        }

        function test_sizes() {
            const sizes = {
                hero: [512, 130],
                statusCircle: [10, 10],
                progressBar: [512, 8],
                playButton: [260, 48],
                stopButton: [260, 40],
                playSymbol: Array(2).fill(0.86 * Theme.title.pixelSize),
                failureText: [512 - 24, 140]
            };
            model.hasFailure = true;
            model.canCancel = true;
            settle();
            for (const name in sizes)
                compare([item(name).width, item(name).height], sizes[name], name);
            compare(item("statusCircle").radius, 5);
        }

        function test_rowsAreCentred() {
            model.enter("Downloading");
            model.detail = "1 MB of 4 MB";
            settle();
            verifyCentred("statusRow");
            verifyCentred("detail");
            verifyCentred("cancelButton");
            verifyCentred("showLogButton", "aboutButton");
            verifyCentred("playButton");
            const [play, mark] = [item("playButton"), item("playSymbol")];
            const textLeft = play.contentItem.x + (play.contentItem.width - play.contentItem.contentWidth) / 2;
            fuzzyCompare(textLeft - mark.x - mark.width, 9, 0.6);
            compare(place("statusTitle").left - place("statusCircle").right, 8);
            compare(place("settingsButton").left - place("showLogButton").right, 8);
            compare(place("aboutButton").left - place("settingsButton").right, 8);
            const bolt = item("bolt");
            compare([bolt.name, bolt.color, bolt.width], ["bolt", Theme.secondary, Theme.caption.pixelSize + 2]);
            const hint = item("performanceHint");
            for (const lines of [1, 2]) {
                compare(hint.lineCount, lines);
                const left = place("performanceHint").right - (hint.width - hint.leftPadding + hint.contentWidth) / 2;
                compare(Math.floor(left - place("bolt").right), 4);
                fuzzyCompare(place("bolt").left + left + hint.contentWidth, view.width, 1);
                parent.width = 300;
                settle();
            }
            parent.width = 560;
            model.enter("Playing");
            settle();
            verifyCentred("stopButton");
        }

        function test_hero() {
            const hero = item("hero");
            compare(hero.radius, 14);
            const colours = [Qt.rgba(0.08, 0.12, 0.30, 1), Qt.rgba(0.55, 0.20, 0.35, 1), Qt.rgba(0.95, 0.55, 0.20, 1)];
            compare(hero.gradient.map(String), colours.map(String));

            // The gradient runs from the top left to the bottom right.
            const image = grabImage(view);
            const at = (x, y) => ({ red: image.red(24 + x, 24 + y), blue: image.blue(24 + x, 24 + y) });
            verify(at(20, 65).blue > at(20, 65).red);
            verify(at(490, 65).red > at(490, 65).blue);
            verify(at(100, 125).red > at(100, 5).red);
            const symbol = item("heroSymbol");
            compare(symbol.name, "flags");
            verify(Qt.colorEqual(symbol.color, Qt.rgba(1, 1, 1, 0.92)));
            verify(Qt.colorEqual(symbol.shadowColor, Qt.rgba(0, 0, 0, 0.33)));
            compare([symbol.shadowRadius, symbol.opacity], [6, 1]);
            // The width includes the room for the shadow.
            compare(symbol.width - 4 * symbol.shadowRadius, 110);
            compare(symbol.height, symbol.width);
            verifyCentred("heroSymbol");
            compare(symbol.y + symbol.height / 2, hero.height / 2);
        }

        function test_boxes() {
            model.hasFailure = true;
            const box = item("controlsBox");
            compare([box.radius, box.color], [10, Theme.box]);
            compare(item("name").maximumLineCount, 3);
            const failure = item("failure");
            compare([failure.radius, failure.borderWidth], [10, 1]);
            verify(Qt.colorEqual(failure.borderColor, Qt.alpha(Theme.red, 0.5)));
            const pane = item("failureText").children[0];
            compare([pane.color, pane.borderColor], [Theme.pane, Theme.paneEdge]);
        }

        function test_controls_data() {
            return [{ tag: "none", count: 0, shown: 0 }, { tag: "two", count: 2, shown: 2 },
                    { tag: "more than anyone reads", count: 1000, shown: 50 }];
        }
        function test_controls(data) {
            model.controls = Array.from({ length: data.count }, (_, i) => "<b>" + i + "</b>");
            settle();
            compare(item("noControls").visible, data.count === 0);
            const column = item("controlsHeading").parent;
            const lines = Array.from(column.children).filter(child => child.objectName === "control");
            compare(lines.map(line => line.text), model.controls.slice(0, data.shown));
            compare([column.x, column.y], [12, 12]);
            compare([column.width, column.height], [item("controlsBox").width - 24, item("controlsBox").height - 24]);
            if (data.count > 0) {
                compare(lines[0].y - item("controlsHeading").height, 4);
                compare([lines[0].font, lines[0].color, lines[0].horizontalAlignment, lines[0].textFormat],
                        [Theme.callout, Theme.text, Text.AlignLeft, Text.PlainText]);
            }
        }

        function test_aRemovalShowsProgress() {
            model.enter("Ready");
            model.removing = true;
            verify(item("progressBar").visible && item("progressBar").indeterminate);
            verify(!item("cancelButton").visible);
            model.removing = false;
            verify(!item("progressBar").visible);
        }

        Component {
            id: symbol
            Symbol { width: 20; height: 20; name: "play"; color: "red" }
        }
        Component {
            id: tile
            SmoothRectangle { width: 20; height: 20; color: "red" }
        }
        function test_drawingsFollowTheirColours_data() {
            return [{tag: "symbol", drawing: symbol}, {tag: "tile", drawing: tile}];
        }
        function test_drawingsFollowTheirColours(data) {
            const drawing = createTemporaryObject(data.drawing, view.parent);
            waitForRendering(drawing);
            compare(grabImage(drawing).pixel(10, 10), "#ff0000");
            drawing.color = "lime";
            waitForRendering(drawing);
            compare(grabImage(drawing).pixel(10, 10), "#00ff00");
        }

        // The remaining time stands right of the byte counts, or below them if one line is too
        // short.
        function test_theTimeLeft() {
            model.enter("Downloading");
            model.detail = "1 MB of 4 MB · 2 MB/s";
            verify(!item("timeLeft").visible);
            model.timeLeft = "About 2 minutes left";
            settle();
            compare(place("timeLeft").top, place("detail").top);
            compare(place("timeLeft").left - place("detail").right, 12);
            item("status").width = Math.ceil(item("detail").implicitWidth + 12 + item("timeLeft").implicitWidth) - 1;
            settle();
            verify(place("timeLeft").top >= place("detail").bottom);
        }

        function test_theBarWithoutAFraction() {
            model.enter("Downloading");
            settle();
            const bar = item("progressBar");
            const piece = item("fill");
            verify(!bar.moving);
            compare([piece.width, piece.height], [0.28 * bar.width, 8]);
            compare(piece.x, 0.36 * bar.width);
            Theme.still = false;
            const start = piece.x;
            verify(bar.moving);
            tryVerify(() => piece.x !== start);
            verify(piece.x >= 0 && piece.x + piece.width <= bar.width);
            model.hasProgress = true;
            model.progress = 0.5;
            verify(!bar.moving);
            compare([piece.x, piece.width], [0, bar.width / 2]);
            // The bar shows at least its round ends, but nothing at 0.
            model.progress = 0.001;
            compare(piece.width, 8);
            model.progress = 0;
            compare(piece.width, 0);
        }

        function test_aButtonGrowsWithItsText() {
            const button = item("aboutButton");
            button.width = 60;
            button.text = "Update the game";
            settle();
            verify(button.height > 2 * button.font.pixelSize);
            compare(button.height, Math.ceil(button.implicitContentHeight + 8));
        }
    }
}
