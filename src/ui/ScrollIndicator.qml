import QtQuick
import QtQuick.Templates as T
import Brindle

// The scroll bar at the edge of everything that scrolls; there is none while all of it is seen.
T.ScrollBar {
    id: control

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
        opacity: control.pressed || control.hovered ? 1 : 0.7
    }
}
