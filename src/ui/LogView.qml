import QtQuick
import Brindle

// The log, to be read and copied.
SheetView {
    id: view

    required property var log
    defaultButton: closeButton
    readonly property alias pane: pane

    implicitWidth: 600
    implicitHeight: 420

    Label {
        id: heading
        x: 16
        y: 16
        content: "Log"
        font: Theme.headline
        Accessible.role: Accessible.Heading
    }

    TextPane {
        id: pane
        objectName: "logPane"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: heading.bottom
        anchors.bottom: copyButton.top
        anchors.leftMargin: 16
        anchors.rightMargin: 16
        anchors.topMargin: 10
        anchors.bottomMargin: 10
        label: "Log"
    }

    LogDocument {
        log: view.log
        placeholder: "Nothing yet."
        edit: pane.edit
        scroller: pane.scroller
    }

    PlainButton {
        id: copyButton
        objectName: "copyLogButton"
        anchors.left: parent.left
        anchors.bottom: parent.bottom
        anchors.margins: 16
        text: "Copy"
        Accessible.name: "Copy the log"
        onClicked: view.model.copyLog()
    }
    ProminentButton {
        id: closeButton
        objectName: "closeButton"
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.margins: 16
        focus: true
        text: "Close"
        Accessible.defaultButton: true
        onClicked: view.dismissed()
    }
}
