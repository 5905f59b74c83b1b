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
        id: quick
        // Starts and ends games before the second click of a double click.
        StandIn {
            function play() {
                calls.push("play");
                canPlay = false;
                gameRunning = true;
            }
            function stop() {
                calls.push("stop");
                gameRunning = false;
                canPlay = true;
            }
        }
    }
    Component {
        id: playArea
        PlayArea { width: 512 }
    }

    TestCase {
        name: "PlayArea"
        when: windowShown

        property var model
        property var view
        property var play
        property var stop
        property var hint

        function init() {
            failOnWarning(/.?/);
            parent.Window.window.requestActivate();
            tryCompare(parent.Window.window, "active", true);
            show(standIn);
        }

        function show(kind) {
            model = kind.createObject(parent); // outlives the view
            view = createTemporaryObject(playArea, parent, { "model": model });
            play = findChild(view, "playButton");
            stop = findChild(view, "stopButton");
            hint = findChild(view, "downloadHint");
        }

        // Serves events until the button no longer guards against a double click.
        function takesClicks(button) {
            tryCompare(findChild(button, "guard"), "visible", false);
        }

        function test_table_data() {
            return [
                { tag: "NotDownloaded", running: false, canPlay: true, hint: true },
                { tag: "Downloading", running: false, canPlay: false, hint: false },
                { tag: "SettingUp", running: false, canPlay: false, hint: false },
                { tag: "Needs", running: false, canPlay: true, hint: false },
                { tag: "Ready", running: false, canPlay: true, hint: false },
                { tag: "Starting", running: true, canPlay: false, hint: false },
                { tag: "Playing", running: true, canPlay: false, hint: false }
            ];
        }
        function test_table(data) {
            model.phase = Phase[data.tag];
            model.gameRunning = data.running;
            model.canPlay = data.canPlay;
            waitForRendering(view);
            takesClicks(data.running ? stop : play);
            compare(play.visible, !data.running);
            compare(stop.visible, data.running);
            compare(play.enabled, data.canPlay);
            compare(hint.visible, data.hint);
            mouseClick(data.running ? stop : play);
            compare(model.calls, data.running ? ["stop"] : data.canPlay ? ["play"] : []);
        }

        function test_look() {
            compare(play.text, "Play");
            compare(play.width, 260);
            compare(play.height, 48);
            compare(play.font, Theme.title);
            compare(play.symbol, "play");
            compare(stop.text, "Stop");
            compare(stop.width, 260);
            compare(stop.height, 40);
            compare(stop.font, Theme.title2);
            compare(view.spacing, 8);
            compare(hint.text, "Downloads the game and the Godot engine once, about 110 MB. Nothing to type.");
            compare(hint.font, Theme.caption);
            compare(hint.color, Theme.secondary);
        }

        function test_distances() {
            waitForRendering(view);
            compare(hint.y - play.y - play.height, 8);
            compare(play.x, (512 - 260) / 2);
            compare(hint.width, 512);
            compare(hint.horizontalAlignment, Text.AlignHCenter);
            model.gameRunning = true;
            waitForRendering(view);
            compare(stop.x, (512 - 260) / 2);
            compare(hint.y - stop.y - stop.height, 8);
        }

        function test_keys_data() {
            return [{ tag: "space", key: Qt.Key_Space }, { tag: "return", key: Qt.Key_Return }, { tag: "enter", key: Qt.Key_Enter }];
        }
        function test_keys(data) {
            play.forceActiveFocus();
            keyClick(data.key);
            compare(model.calls, ["play"]);
        }

        function test_aDisabledButtonIgnoresKeys() {
            play.forceActiveFocus(Qt.TabFocusReason);
            model.canPlay = false;
            keyClick(Qt.Key_Space);
            compare(model.calls, []);
        }

        function test_aDoubleClickOnPlayDoesNotStop() {
            show(quick);
            mouseDoubleClickSequence(view, view.width / 2, 20);
            compare(model.calls, ["play"]);
            verify(stop.visible);
            takesClicks(stop);
            mouseClick(stop);
            compare(model.calls, ["play", "stop"]);
        }

        function test_aDoubleClickOnStopDoesNotPlayAgain() {
            show(quick);
            model.play();
            takesClicks(stop);
            mouseDoubleClickSequence(view, view.width / 2, 20);
            compare(model.calls, ["play", "stop"]);
            takesClicks(play);
            mouseClick(play);
            compare(model.calls, ["play", "stop", "play"]);
        }

        function test_aSecondTapDoesNotStop() {
            show(quick);
            const touch = touchEvent(view);
            for (let tap = 0; tap < 2; ++tap) {
                touch.press(0, view, view.width / 2, 20).commit();
                touch.release(0, view, view.width / 2, 20).commit();
            }
            compare(model.calls, ["play"]);
            takesClicks(stop);
            touch.press(0, stop).commit();
            touch.release(0, stop).commit();
            compare(model.calls, ["play", "stop"]);
        }

        // What counts is when a click begins.
        function test_aLongSecondClickDoesNotStop() {
            show(quick);
            mouseClick(play);
            mousePress(stop);
            takesClicks(stop);
            mouseRelease(stop);
            compare(model.calls, ["play"]);
            mouseClick(stop);
            compare(model.calls, ["play", "stop"]);
        }

        function test_playTakesTheFirstClick() {
            mouseClick(play);
            compare(model.calls, ["play"]);
        }

        // Nor is one taken on a button that was there, and could not be pressed.
        function test_playGuardsWhenItCanBePressedAgain() {
            model.canPlay = false;
            model.canPlay = true;
            mouseClick(play);
            compare(model.calls, []);
            takesClicks(play);
            mouseClick(play);
            compare(model.calls, ["play"]);
        }

        function test_keysAndScreenReadersNeedNotWait() {
            show(quick);
            play.forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Space);
            compare(model.calls, ["play"]);
            stop.forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Return);
            compare(model.calls, ["play", "stop"]);
            play.Accessible.pressAction();
            compare(model.calls, ["play", "stop", "play"]);
        }
    }
}
