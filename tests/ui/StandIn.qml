import QtQml
import Brindle
import BrindleTest

// Stands in for the launcher's model: has the test's values, and records calls.
QtObject {
    property var calls: []
    property int measurements: 0
    // True if games start and end within their call.
    property bool quick: false

    // Without animations, changes take effect at once.
    Component.onCompleted: Theme.still = true

    property int phase: StatusView.NotDownloaded
    property string needsMessage: ""
    property bool gameRunning: false
    property bool canCancel: false
    property bool canPlay: true
    property string stepText: ""
    property bool hasProgress: false
    property double progress: 0
    property string detail: ""
    property string timeLeft: ""
    property bool hasFailure: false
    property string failureSummary: ""
    property string failureText: ""
    property string name: "Brindle"
    property string tagline: "Open source real-time strategy game made with Godot 4."
    property string licenseName: "MIT License"
    property string copyright: "Copyright (c) 2023 Tessel Works"
    property var controls: []
    property bool fullscreen: false
    property int resolution: 0
    property var resolutionLabels: ["Game default", "1280x720", "1600x900", "1920x1080", "2560x1440"]
    property bool removing: false
    property string storageSize: "Zero KB"
    property string repositoryAddress: "github.com/tessel-works/godot-brindle"
    property LogStore log: LogStore {}

    readonly property var phases: ["NotDownloaded", "Downloading", "SettingUp", "Needs", "Ready", "Starting", "Playing"]

    // Sets the phase and the fields that follow from it.
    function enter(name) {
        phase = StatusView[name];
        canCancel = ["Downloading", "SettingUp"].includes(name);
        run(["Starting", "Playing"].includes(name));
    }
    function run(game) {
        gameRunning = game;
        canPlay = !canCancel && !game;
    }
    function play() {
        calls.push("play");
        if (quick)
            run(true);
    }
    function stop() {
        calls.push("stop");
        if (quick)
            run(false);
    }
    function cancel() { calls.push("cancel"); }
    function copyFailure() { calls.push("copyFailure"); }
    function copyLog() { calls.push("copyLog"); }
    function updateGame() { calls.push("updateGame"); }
    function reinstall() { calls.push("reinstall"); }
    function removeEverything() { calls.push("removeEverything"); }
    function showSaves() { calls.push("showSaves"); }
    function revealInFinder() { calls.push("revealInFinder"); }
    function openRepository() { calls.push("openRepository"); }
    function measureStorage() { ++measurements; }
    function quit() { calls.push("quit"); }
}
