import QtQuick
import Brindle

// Sets how the game starts, and updates or removes the downloaded files.
SheetView {
    id: view

    required property var model

    title: "Settings"
    closeText: "Done"
    spacing: 12
    // Grows only if the desktop's font makes the resolutions wider.
    implicitWidth: Math.max(420, resolutions.naturalWidth + 2 * padding)

    // Measure again and again, to follow a running download.
    Timer {
        interval: 2000
        running: true
        repeat: true
        triggeredOnStart: true
        onTriggered: view.model.measureStorage()
    }

    component UpkeepRow: PushButton {
        width: parent.width
        implicitHeight: Math.ceil(implicitContentHeight) + 16
        alignment: Text.AlignLeft
        fill: destructive ? down ? Theme.dangerDown : hovered ? Theme.dangerHover : "transparent"
                          : down ? Theme.faceDown : hovered ? Theme.face : "transparent"
    }
    // A thin line.
    component Divider: Rectangle {
        width: parent.width - 2 * x
        height: 1
        color: Theme.hairline
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

    Divider { objectName: "divider" }

    Box {
        objectName: "upkeep"
        color: Theme.box
        padding: 3
        spacing: 2
        enabled: view.model.canPlay

        UpkeepRow {
            objectName: "updateButton"
            text: "Update the game (download again, keep saves)"
            onClicked: {
                view.model.updateGame();
                view.dismissed();
            }
        }
        Divider { x: 12 }
        UpkeepRow {
            objectName: "reinstallButton"
            text: "Reinstall (game and engine)"
            onClicked: {
                view.model.reinstall();
                view.dismissed();
            }
        }
        Divider { x: 12 }
        UpkeepRow {
            objectName: "removeButton"
            text: "Remove everything (frees " + view.model.storageSize + ")"
            destructive: true
            onClicked: {
                view.model.removeEverything();
                view.dismissed();
            }
        }
    }

    Divider { objectName: "divider" }

    Flow {
        width: parent.width
        spacing: Theme.buttonSpacing

        PushButton {
            objectName: "savesButton"
            text: "Show saves"
            onClicked: view.model.showSaves()
        }
        PushButton {
            objectName: "revealButton"
            text: "Reveal in Finder"
            onClicked: view.model.revealInFinder()
        }
    }
}
