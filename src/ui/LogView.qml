import QtQuick
import Brindle

// Shows the log for reading and copying.
SheetView {
    id: view

    required property var model
    required property var log

    title: "Log"
    closeText: "Close"
    heading.font: Theme.headline
    implicitWidth: 600
    implicitHeight: 420
    padding: 16
    spacing: 10
    Keys.forwardTo: [pane.scroller]

    TextPane {
        id: pane
        objectName: "logPane"
        width: parent.width
        height: Math.floor(view.room - view.heading.height - view.spacing)
        label: "Log"
    }

    footer: CopyButton {
        objectName: "copyLogButton"
        what: "log"
        onClicked: view.model.copyLog()
    }

    LogDocument {
        log: view.log // qmllint disable
        edit: pane.edit
        scroller: pane.scroller
    }
}
