import QtQuick
import QtQuick.Templates as T

// What all that is shown in a sheet has: a size of its own, the model, a button that Return presses,
// and a way to ask to be closed.
FocusScope {
    required property var model
    property T.AbstractButton defaultButton
    signal dismissed()

    // From the start, so that what is in it is laid out once.
    width: implicitWidth
    focus: true
}
