import QtQuick
import Brindle

// Play, or Stop while a game runs.
Column {
    id: area

    required property var model
    readonly property alias playButton: playButton

    spacing: 8

    PlainButton {
        objectName: "stopButton"
        anchors.horizontalCenter: parent.horizontalCenter
        visible: area.model.gameRunning
        width: 260
        height: Math.max(40, implicitHeight)
        radius: 9
        text: "Stop"
        font: Theme.title2
        ending: true
        onClicked: area.model.stop()

        DoubleClickGuard {}
    }

    ProminentButton {
        id: playButton
        objectName: "playButton"
        anchors.horizontalCenter: parent.horizontalCenter
        visible: !area.model.gameRunning
        enabled: area.model.canPlay
        focus: true
        width: 260
        height: Math.max(48, implicitHeight)
        radius: 11
        text: "Play"
        symbol: "play"
        font: Theme.title
        onClicked: area.model.play()

        DoubleClickGuard {}
    }

    Note {
        objectName: "downloadHint"
        visible: area.model.phase === StatusView.NotDownloaded
        content: "Downloads the game and the Godot engine once, about 110 MB. Nothing to type."
        font: Theme.caption
    }
}
