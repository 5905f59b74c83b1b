import QtQuick
import QtQuick.Templates as T
import Brindle

// One choice of a segmented picker.
T.RadioButton {
    id: segment

    required property bool current
    required property real spare
    signal next()
    signal previous()

    width: implicitContentWidth + spare
    height: Theme.buttonHeight
    // Its focus ring lies over the neighbours.
    z: visualFocus ? 1 : 0
    // One stop for the Tab key; the arrows move on from there.
    focusPolicy: current ? Qt.StrongFocus : Qt.ClickFocus
    Keys.onRightPressed: next()
    Keys.onLeftPressed: previous()

    function choose() {
        forceActiveFocus(Qt.TabFocusReason);
        clicked();
    }

    Accessible.role: Accessible.RadioButton
    Accessible.name: text
    Accessible.onPressAction: clicked()
    // What screen readers are told.
    checked: current

    contentItem: Text {
        text: segment.text
        font: Theme.segment
        color: segment.current ? Theme.text : Theme.secondary
        textFormat: Text.PlainText
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }

    background: SmoothRectangle {
        radius: Theme.buttonRadius
        color: segment.current ? Theme.chosen : "transparent"
        borderColor: segment.current ? Theme.accentLine : "transparent"
        borderWidth: 1.5

        FocusRing { shown: segment.visualFocus }
    }
}
