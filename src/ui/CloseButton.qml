import QtQuick
import Brindle

// Closes a sheet, at the right of its last row.
ProminentButton {
    required property SheetView sheet

    anchors.right: parent.right
    focus: true
    Accessible.defaultButton: true
    onClicked: sheet.dismissed()
    Component.onCompleted: sheet.defaultButton = this
}
