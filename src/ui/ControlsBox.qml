pragma ComponentBehavior: Bound

import QtQuick
import Brindle

// Lists the game's controls from its README.
Box {
    id: box

    required property var model

    color: Theme.box
    spacing: 4

    Label {
        objectName: "controlsHeading"
        width: parent.width
        content: "Controls"
        font: Theme.headline
        Accessible.role: Accessible.Heading
    }
    Label {
        objectName: "noControls"
        width: parent.width
        visible: box.model.controls.length === 0
        content: "The README does not list controls: see README."
        font: Theme.callout
        color: Theme.secondary
    }
    Repeater {
        // A number, because with a list each change of the model would make all labels anew.
        model: Math.min(50, box.model.controls.length)

        Label {
            required property int index
            objectName: "control"
            width: parent?.width ?? 0
            content: box.model.controls[index] ?? ""
            font: Theme.callout
        }
    }
}
