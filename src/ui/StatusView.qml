import QtQuick
import Brindle

// What the launcher is doing.
Column {
    id: view

    required property var model

    readonly property bool working: [Phase.Downloading, Phase.SettingUp, Phase.Starting].includes(model.phase)
    readonly property color colour: ({
        [Phase.NotDownloaded]: Theme.gray,
        [Phase.Needs]: Theme.red,
        [Phase.Ready]: Theme.green,
        [Phase.Playing]: Theme.green
    })[model.phase] ?? Theme.orange

    spacing: 6

    Row {
        objectName: "statusRow"
        anchors.horizontalCenter: parent.horizontalCenter
        spacing: 8
        Accessible.role: Accessible.StatusBar
        Accessible.name: title.text

        Rectangle {
            objectName: "statusCircle"
            anchors.verticalCenter: parent.verticalCenter
            width: 10
            height: 10
            radius: 5
            color: view.colour
        }
        Label {
            id: title
            objectName: "statusTitle"
            anchors.verticalCenter: parent.verticalCenter
            content: DisplayText.phaseTitle(view.model.phase)
            font: Theme.headline
            // Read as the row's name, and announced with what the launcher needs.
            Accessible.ignored: true
            Accessible.role: Accessible.Notification
            Accessible.description: needs.text
            Accessible.onNameChanged: Accessibility.announce(title)
            Accessible.onDescriptionChanged: Accessibility.announce(title)
        }
    }

    Label {
        id: step
        objectName: "stepText"
        width: parent.width
        visible: view.working && text !== ""
        content: view.model.stepText
        font: Theme.callout
        horizontalAlignment: Text.AlignHCenter
    }

    Column {
        objectName: "progressGroup"
        width: parent.width
        visible: view.model.canCancel
        spacing: view.spacing

        ProgressLine {
            objectName: "progressBar"
            width: parent.width
            indeterminate: !view.model.hasProgress
            value: view.model.progress
            description: DisplayText.of(view.model.timeLeft)
            caption: detail.contentWidth
        }
        Label {
            id: detail
            objectName: "detail"
            width: parent.width
            visible: text !== ""
            content: view.model.detail
            font: Theme.caption
            color: Theme.secondary
            horizontalAlignment: Text.AlignHCenter
        }
        PlainButton {
            objectName: "cancelButton"
            anchors.horizontalCenter: parent.horizontalCenter
            text: "Cancel"
            onClicked: view.model.cancel()

            DoubleClickGuard {}
        }
    }

    Label {
        id: needs
        objectName: "needsMessage"
        width: parent.width
        visible: view.model.phase === Phase.Needs
        content: view.model.needsMessage
        maxLength: 2000
        font: Theme.callout
        color: Theme.errorText
        horizontalAlignment: Text.AlignHCenter
    }

    Label {
        objectName: "playingNote"
        width: parent.width
        visible: view.model.phase === Phase.Playing
        content: "The game is open in its own window."
        font: Theme.callout
        color: Theme.secondary
        horizontalAlignment: Text.AlignHCenter
    }
}
