import QtQuick
import Brindle

// Shows Play, or Stop while a game runs.
Column {
    id: area

    required property var model
    readonly property alias playButton: playButton

    spacing: 8

    PushButton {
        objectName: "stopButton"
        anchors.horizontalCenter: parent.horizontalCenter
        visible: area.model.gameRunning
        width: 260
        height: Math.max(40, implicitHeight)
        radius: 9
        text: "Stop"
        font: Theme.title2
        onClicked: area.model.stop()

        DoubleClickGuard {}
    }

    PushButton {
        id: playButton
        objectName: "playButton"
        anchors.horizontalCenter: parent.horizontalCenter
        visible: !area.model.gameRunning
        enabled: area.model.canPlay
        focus: true
        width: 260
        height: Math.max(48, implicitHeight)
        radius: 11
        leftPadding: rightPadding + symbol.width + 9
        text: "Play"
        prominent: true
        font: Theme.title
        onClicked: area.model.play()

        // Stands left of the text.
        Symbol {
            id: symbol
            objectName: "playSymbol"
            anchors.verticalCenter: parent.verticalCenter
            x: (parent.width - playButton.implicitContentWidth - width - 9) / 2
            width: playButton.font.pixelSize * 0.86
            height: width
            name: "play"
            color: playButton.ink
        }
        DoubleClickGuard {}
    }

    Note {
        objectName: "downloadHint"
        visible: area.model.phase === StatusView.NotDownloaded
        content: "Downloads the game and the Godot engine once, about 110 MB. Nothing to type."
        font: Theme.caption
    }
}
