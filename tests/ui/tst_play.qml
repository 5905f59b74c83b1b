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
            model = standIn.createObject(parent); // outlives the view
            view = createTemporaryObject(playArea, parent, { "model": model });
            play = findChild(view, "playButton");
            stop = findChild(view, "stopButton");
            hint = findChild(view, "downloadHint");
        }

        function test_table_data() {
            return [
                { tag: "notDownloaded", running: false, canPlay: true, hint: true },
                { tag: "downloading", running: false, canPlay: false, hint: false },
                { tag: "settingUp", running: false, canPlay: false, hint: false },
                { tag: "needs", running: false, canPlay: true, hint: false },
                { tag: "ready", running: false, canPlay: true, hint: false },
                { tag: "starting", running: true, canPlay: false, hint: false },
                { tag: "playing", running: true, canPlay: false, hint: false }
            ];
        }
        function test_table(data) {
            model.phase = data.tag;
            model.gameRunning = data.running;
            model.canPlay = data.canPlay;
            waitForRendering(view);
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
            verify(play.hasSymbol);
            compare(stop.text, "Stop");
            compare(stop.width, 260);
            compare(stop.height, 40);
            compare(stop.font, Theme.title2);
            compare(view.spacing, 8);
            compare(hint.text, "Downloads the game and the Godot engine once, about 110 MB. Nothing to type.");
            compare(hint.font, Theme.caption);
            compare(hint.color, Theme.secondary);
        }

        function test_keys_data() {
            return [{ tag: "space", key: Qt.Key_Space }, { tag: "return", key: Qt.Key_Return }, { tag: "enter", key: Qt.Key_Enter }];
        }
        function test_keys(data) {
            // It has the focus from the start, which needs no ring.
            verify(!play.visualFocus);
            stop.parent.forceActiveFocus();
            play.forceActiveFocus(Qt.TabFocusReason);
            verify(play.visualFocus);
            keyClick(data.key);
            compare(model.calls, ["play"]);
        }

        function test_aDisabledButtonIgnoresKeys() {
            play.forceActiveFocus(Qt.TabFocusReason);
            model.canPlay = false;
            keyClick(Qt.Key_Space);
            compare(model.calls, []);
        }
    }
}
