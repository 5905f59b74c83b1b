import QtQuick
import Brindle

// The log, to be read and copied.
SheetView {
    id: view

    required property var model
    required property var log
    readonly property alias pane: pane

    title: "Log"
    defaultButton: closeButton
    implicitWidth: 600
    implicitHeight: 420
    Keys.forwardTo: [pane.scroller]

    Label {
        id: heading
        x: 16
        y: 16
        content: view.title
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

    CopyButton {
        id: copyButton
        objectName: "copyLogButton"
        anchors.left: parent.left
        anchors.bottom: parent.bottom
        anchors.margins: 16
        what: "log"
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
