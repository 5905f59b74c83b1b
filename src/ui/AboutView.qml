import QtQuick
import Brindle

// What the launcher is, and whose work it starts.
SheetView {
    id: view

    defaultButton: doneRow.button

    implicitWidth: 440
    implicitHeight: body.implicitHeight

    SheetColumn {
        id: body
        width: view.width
        height: view.height
        spacing: 10

        Label {
            width: parent.width
            content: "About Brindle"
            font: Theme.title2
            Accessible.role: Accessible.Heading
        }
        Label {
            objectName: "aboutGame"
            width: parent.width
            // Each by itself, so that none can push another out.
            content: "Game: " + DisplayText.of(view.model.name) + "\n" + DisplayText.of(view.model.copyright) + "\nLicence: " + DisplayText.of(view.model.licenseName)
            maxLength: 2000
            horizontalAlignment: Text.AlignLeft
        }
        Label {
            objectName: "aboutRepository"
            width: parent.width
            content: "Based on tessel-works/godot-brindle (" + view.model.licenseName + ")."
            font: Theme.callout
            horizontalAlignment: Text.AlignLeft
        }
        Label {
            objectName: "aboutEngine"
            width: parent.width
            content: "Godot Engine, MIT licence: © 2014-present Godot Engine contributors, © 2007-2014 Juan Linietsky, Ariel Manzur."
            font: Theme.callout
        }
        // Not one of the templates' buttons: those tell screen readers that they are buttons.
        Label {
            id: link
            objectName: "repositoryLink"

            function open() {
                view.model.openRepository();
            }

            width: Math.min(implicitWidth, parent.width)
            content: view.model.repositoryAddress
            font: Theme.callout
            color: Theme.link
            activeFocusOnTab: true
            Accessible.role: Accessible.Link
            Accessible.onPressAction: open()
            Keys.onSpacePressed: event => { if (!event.isAutoRepeat) open() }

            // Below the letters, only where the pointer asks for it.
            Rectangle {
                visible: pointer.hovered
                anchors.bottom: parent.bottom
                width: parent.contentWidth
                height: 1
                color: Theme.link
            }
            FocusRing {
                shown: link.activeFocus
                parentRadius: 4
            }
            TapHandler { onTapped: link.open() }
            HoverHandler {
                id: pointer
                cursorShape: Qt.PointingHandCursor
            }
        }
        Label {
            objectName: "aboutLauncher"
            width: parent.width
            content: "The game belongs to its author. This app is only a launcher: it downloads the game and Godot and starts them. Nothing is sent anywhere except those downloads."
            font: Theme.callout
            color: Theme.secondary
        }
        footer: DoneRow {
            id: doneRow
            onDone: view.dismissed()
        }
    }
}
