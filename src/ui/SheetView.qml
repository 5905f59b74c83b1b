import QtQuick
import QtQuick.Templates as T

// The content of a sheet.
FocusScope {
    required property string title
    // Return presses this button, whatever has the focus.
    property T.AbstractButton defaultButton: null
    signal dismissed()

    // Set at once, so that the content is laid out once.
    width: implicitWidth
    focus: true
    Accessible.role: Accessible.Dialog
    Accessible.name: title
}
