import QtQuick
import QtQuick.Templates as T
import Brindle

// A modal layer over the window's content: as large as its view, but no larger than the window.
T.Popup {
    id: sheet

    // Creates the SheetView, which exists only while the sheet is visible.
    required property Component content
    readonly property Item view: loader.item // qmllint disable
    property real slide

    // Gives positioners at once the size that they would get with the next frame.
    function layOut(item) {
        for (let i = 0; i < item.children.length; ++i)
            layOut(item.children[i]);
        if (item.forceLayout)
            item.forceLayout();
    }

    x: Math.round(((parent?.width ?? 0) - width) / 2)
    y: Math.round(((parent?.height ?? 0) - height) / 2 + slide)
    width: Math.min(loader.implicitWidth, parent?.width ?? 0)
    height: Math.min(loader.implicitHeight, parent?.height ?? 0)
    modal: true
    focus: true
    closePolicy: T.Popup.NoAutoClose

    // Do not defer the view, because the sizes above need it at once.
    contentItem: Loader { // qmllint disable deferred-property-id
        id: loader
        active: sheet.visible
        focus: true
        sourceComponent: sheet.content
        onLoaded: sheet.layOut(item)
    }

    background: SmoothRectangle {
        radius: Theme.sheetRadius
        color: Theme.sheet
        borderColor: Theme.hairline
    }

    T.Overlay.modal: Rectangle {
        color: Theme.dim
        Behavior on opacity { NumberAnimation { duration: Theme.duration } }
    }

    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.duration }
        NumberAnimation { property: "slide"; from: 24; to: 0; duration: Theme.duration; easing.type: Easing.OutCubic }
    }
    exit: Transition {
        NumberAnimation { property: "opacity"; to: 0; duration: Theme.duration }
        NumberAnimation { property: "slide"; to: 24; duration: Theme.duration; easing.type: Easing.InCubic }
    }
}
