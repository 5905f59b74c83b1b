import QtQuick
import QtQuick.Templates as T

// The content of a sheet.
FocusScope {
    required property string title
    // Return presses this button, whatever has the focus.
    property T.AbstractButton defaultButton: null
    signal dismissed()

    // Not later, which would lay out the content twice.
    width: implicitWidth
    focus: true
    Accessible.role: Accessible.Dialog
    Accessible.name: title
}
