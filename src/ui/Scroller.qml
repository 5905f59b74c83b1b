import QtQuick
import QtQuick.Templates as T
import Brindle

// Something that scrolls up and down: by wheel, touch, scroll bar and keyboard.
Flickable {
    id: scroller

    property bool keyboard: true

    contentWidth: width
    boundsBehavior: Flickable.StopAtBounds
    // A mouse drags nothing.
    interactive: !mouse.active
    clip: true

    Keys.enabled: keyboard && contentHeight > height
    Keys.onUpPressed: contentY = Math.max(0, contentY - 40)
    Keys.onDownPressed: contentY = Math.min(contentHeight - height, contentY + 40)
    Keys.onPressed: event => {
        const pages = {
            [Qt.Key_PageUp]: contentY - height,
            [Qt.Key_PageDown]: contentY + height,
            [Qt.Key_Home]: 0,
            [Qt.Key_End]: contentHeight
        };
        event.accepted = event.key in pages;
        if (event.accepted)
            contentY = Math.max(0, Math.min(contentHeight - height, pages[event.key]));
    }

    // There is none while all of it is seen.
    T.ScrollBar.vertical: T.ScrollBar {
        id: bar

        implicitWidth: 11
        padding: 2
        minimumSize: 0.08
        stepSize: 0.1
        visible: size < 1
        policy: T.ScrollBar.AsNeeded
        Accessible.ignored: true

        contentItem: Rectangle {
            implicitWidth: 7
            radius: width / 2
            color: Theme.thumb
            opacity: bar.pressed || bar.hovered ? 1 : 0.7
        }
    }

    // On top, or it would not see what a button takes.
    Item {
        parent: scroller
        anchors.fill: parent
        z: 1

        PointHandler {
            id: mouse
            acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
        }
    }
}
