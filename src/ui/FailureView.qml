import QtQuick
import Brindle

// Shows the last failure and the end of its log. Hidden without a failure.
Box {
    id: view

    required property var model

    visible: model.hasFailure
    spacing: 8
    borderColor: Theme.errorFrame
    Accessible.role: Accessible.Grouping
    Accessible.name: "Failure"

    Label {
        objectName: "failureSummary"
        width: parent.width
        content: view.model.failureSummary
        maxLength: 2000
        font: Theme.callout
    }
    TextPane {
        objectName: "failureText"
        width: parent.width
        height: 140
        label: "Last lines of the log"
        text: view.model.failureText
        // The last lines most likely have the reason.
        edit.onTextChanged: showEnd()
    }
    CopyButton {
        objectName: "copyFailureButton"
        what: "failure"
        onClicked: view.model.copyFailure()
    }
}
