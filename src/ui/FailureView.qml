import QtQuick
import Brindle

// The last failure and the end of its log. Hidden while there is none.
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
        }
        TextPane {
            id: pane

            // The scroll position that shows the end of the text.
            property real seenY: 0

            // The last lines say what went wrong.
            function followEnd(anyway) {
                const follows = anyway || scroller.contentY >= seenY - 1;
                seenY = Math.max(0, scroller.contentHeight - scroller.height);
                if (follows)
                    scroller.contentY = seenY;
            }

            objectName: "failureText"
            width: parent.width
            height: 140
            label: "Last lines of the log"
            text: view.model.failureText
            edit.onTextChanged: followEnd(true)
            scroller.onContentHeightChanged: followEnd(false)
        }
        CopyButton {
            objectName: "copyFailureButton"
            what: "failure"
            onClicked: view.model.copyFailure()
        }
    }
}
