import QtQuick
import Brindle

// How the game is started, and what can be done about what has been downloaded.
SheetView {
    id: view

    defaultButton: doneRow.button

    // Wider only where the desktop's font makes the resolutions so.
    implicitWidth: Math.max(420, resolutions.naturalWidth + 2 * body.padding)
    implicitHeight: body.implicitHeight

    // The size follows a running download. An earlier measurement that still runs is not repeated.
    Timer {
        interval: 2000
        running: true
        repeat: true
        triggeredOnStart: true
        onTriggered: view.model.measureStorage()
    }

    SheetColumn {
        id: body
        width: view.width
        height: view.height
        spacing: 12

        Label {
            width: parent.width
            content: "Settings"
            font: Theme.title2
            Accessible.role: Accessible.Heading
        }
        SegmentedPicker {
            objectName: "windowPicker"
            width: parent.width
            label: "Window"
            options: ["Windowed", "Fullscreen"]
            current: view.model.fullscreen ? 1 : 0
            onPicked: index => view.model.fullscreen = index === 1
        }
        SegmentedPicker {
            id: resolutions
            objectName: "resolutionPicker"
            width: parent.width
            label: "Resolution"
            options: view.model.resolutionLabels
            current: view.model.resolution
            onPicked: index => view.model.resolution = index
        }

        Divider {}

        Column {
            width: parent.width
            spacing: body.spacing
            enabled: view.model.canPlay

            PlainButton {
                objectName: "updateButton"
                width: parent.width
                text: "Update the game (download again, keep saves)"
                onClicked: {
                    view.model.updateGame();
                    view.dismissed();
                }
            }
            PlainButton {
                objectName: "reinstallButton"
                width: parent.width
                text: "Reinstall (game and engine)"
                onClicked: {
                    view.model.reinstall();
                    view.dismissed();
                }
            }
            PlainButton {
                objectName: "removeButton"
                width: parent.width
                text: "Remove everything (frees " + view.model.storageSize + ")"
                destructive: true
                onClicked: {
                    view.model.removeEverything();
                    view.dismissed();
                }
            }
        }

        Divider {}

        Flow {
            width: parent.width
            spacing: Theme.buttonSpacing

            PlainButton {
                objectName: "savesButton"
                text: "Show saves"
                onClicked: view.model.showSaves()
            }
            PlainButton {
                objectName: "revealButton"
                text: "Reveal in Finder"
                onClicked: view.model.revealInFinder()
            }
        }

        footer: DoneRow {
            id: doneRow
            onDone: view.dismissed()
        }
    }
}
