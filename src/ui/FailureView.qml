import QtQuick
import Brindle

// The last failure, and what the log said about it. Nothing while there is none.
SmoothRectangle {
    id: view

    required property var model

    visible: model.hasFailure
    height: column.height + 2 * Theme.boxPadding
    radius: Theme.boxRadius
    borderColor: Theme.errorFrame
    borderWidth: 1
    Accessible.role: Accessible.Grouping
    Accessible.name: "Failure"

    Column {
        id: column
        x: Theme.boxPadding
        y: Theme.boxPadding
        width: parent.width - 2 * Theme.boxPadding
        spacing: 8

        Label {
            objectName: "failureSummary"
            width: parent.width
            content: view.model.failureSummary
            maxLength: 2000
            font: Theme.callout
            horizontalAlignment: Text.AlignLeft
        }
        TextPane {
            id: pane
            objectName: "failureText"
            width: parent.width
            height: 140
            label: "Last lines of the log"
            text: view.model.failureText
        }
        PlainButton {
            objectName: "copyFailureButton"
            text: "Copy"
            Accessible.name: "Copy the failure"
            onClicked: view.model.copyFailure()
        }
    }

    // The last lines tell what went wrong: they are seen first, and stay until the player scrolls.
    QtObject {
        id: end

        property real y: 0

        function follow(anyway) {
            const wasSeen = anyway || pane.scroller.contentY >= y;
            y = Math.max(0, pane.scroller.contentHeight - pane.scroller.height);
            if (wasSeen)
                pane.scroller.contentY = y;
        }
    }
    Connections {
        target: pane.edit
        function onTextChanged() { end.follow(true); }
    }
    Connections {
        target: pane.scroller
        function onContentHeightChanged() { end.follow(false); }
    }
}
