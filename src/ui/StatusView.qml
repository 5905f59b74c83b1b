import QtQuick
import Brindle

// Shows the launcher's activity.
Column {
    id: view

    // The values of the model's phase, in the order of AppState::Phase.
    enum Phase { NotDownloaded, Downloading, SettingUp, Needs, Ready, Starting, Playing }

    required property var model

    readonly property bool working: [StatusView.Downloading, StatusView.SettingUp, StatusView.Starting].includes(model.phase)
    readonly property color colour: ({
        [StatusView.NotDownloaded]: Theme.gray,
        [StatusView.Needs]: Theme.red,
        [StatusView.Ready]: Theme.green,
        [StatusView.Playing]: Theme.green
    })[model.phase] ?? Theme.orange
    // The height with all rows of a download.
    readonly property real workHeight: row.height + step.implicitHeight + detail.implicitHeight
        + bar.height + cancel.height + 4 * spacing

    spacing: 6
    add: Transition { NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.duration } }
    move: Transition { NumberAnimation { property: "opacity"; to: 1; duration: Theme.duration } }

    Row {
        id: row
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
            // Screen readers read the row's name instead, and announce title and message.
            Accessible.ignored: true
            Accessible.role: Accessible.Notification
            Accessible.description: needs.text
            // Announce only once if both change together.
            Accessible.onNameChanged: Qt.callLater(Accessibility.announce, title) // qmllint disable
            Accessible.onDescriptionChanged: Qt.callLater(Accessibility.announce, title) // qmllint disable
        }
    }

    Note {
        id: step
        objectName: "stepText"
        visible: view.working && text !== ""
        content: view.model.stepText
        color: Theme.text
    }

    Column {
        id: progress
        objectName: "progressGroup"
        width: parent.width
        visible: view.model.canCancel || view.model.removing
        spacing: view.spacing

        ProgressLine {
            id: bar
            objectName: "progressBar"
            width: parent.width
            indeterminate: !view.model.hasProgress
            value: view.model.progress
            Accessible.description: DisplayText.of(view.model.timeLeft)
        }
        // One line, or two if one is too long.
        Grid {
            anchors.horizontalCenter: parent.horizontalCenter
            horizontalItemAlignment: Grid.AlignHCenter
            columns: time.visible && detail.implicitWidth + time.implicitWidth + columnSpacing <= view.width ? 2 : 1
            columnSpacing: 12

            Label {
                id: detail
                objectName: "detail"
                width: Math.min(Math.ceil(implicitWidth), view.width)
                visible: text !== ""
                content: view.model.detail
                font: Theme.caption
                color: Theme.secondary
                horizontalAlignment: Text.AlignHCenter
            }
            Label {
                id: time
                objectName: "timeLeft"
                width: Math.min(Math.ceil(implicitWidth), view.width)
                visible: text !== ""
                content: view.model.timeLeft
                font: Theme.caption
                // Screen readers find this text in the bar's description.
                Accessible.ignored: true
            }
        }
        PushButton {
            id: cancel

            property bool pressedOnce: false

            objectName: "cancelButton"
            anchors.horizontalCenter: parent.horizontalCenter
            visible: view.model.canCancel
            enabled: !pressedOnce
            text: "Cancel"
            onClicked: {
                pressedOnce = true;
                view.model.cancel();
            }
            onVisibleChanged: if (!visible) pressedOnce = false

            DoubleClickGuard {}
        }
    }

    Note {
        id: needs
        objectName: "needsMessage"
        visible: view.model.phase === StatusView.Needs
        content: view.model.needsMessage
        maxLength: 2000
        color: Theme.errorText
    }

    Note {
        objectName: "playingNote"
        visible: view.model.phase === StatusView.Playing
        content: "The game is open in its own window."
    }
}
