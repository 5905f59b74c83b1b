import QtQuick
import Brindle

// Names the authors and licences of the game, the engine and the launcher.
SheetView {
    id: view

    required property var model

    title: "About Brindle"
    closeText: "Done"
    spacing: 10
    implicitWidth: 440

    component Paragraph: Label {
        width: parent.width
        font: Theme.callout
    }

    Paragraph {
        objectName: "aboutGame"
        // Cut each text by itself, so that a long text leaves room for the others.
        content: "Game: " + DisplayText.of(view.model.name) + "\n" + DisplayText.of(view.model.copyright) + "\nLicence: " + DisplayText.of(view.model.licenseName)
        maxLength: 2000
        font: Theme.body
    }
    Paragraph {
        objectName: "aboutRepository"
        content: "Based on tessel-works/godot-brindle (" + view.model.licenseName + ")."
    }
    Paragraph {
        objectName: "aboutEngine"
        content: "Godot Engine, MIT licence: © 2014-present Godot Engine contributors, © 2007-2014 Juan Linietsky, Ariel Manzur."
    }
    // No T.Button, because screen readers would call the link a button.
    Label {
        id: link
        objectName: "repositoryLink"

        function open() {
            view.model.openRepository();
        }

        width: Math.min(implicitWidth, parent.width)
        content: view.model.repositoryAddress
        font: Theme.callout
        color: pointer.hovered ? Theme.text : Theme.link
        activeFocusOnTab: true
        Accessible.role: Accessible.Link
        Accessible.onPressAction: open()
        Keys.onSpacePressed: event => { if (!event.isAutoRepeat) open() }

        FocusRing { target: link }
        TapHandler {
            onTapped: link.open()
        }
        HoverHandler {
            id: pointer
            cursorShape: Qt.PointingHandCursor
        }
    }
    Paragraph {
        objectName: "aboutLauncher"
        content: "The game belongs to its author. This app is only a launcher: it downloads the game and Godot and starts them. Nothing is sent anywhere except those downloads."
        color: Theme.secondary
    }
}
