import QtQuick
import QtQuick.Templates as T
import Brindle

// Scrolls up and down by wheel, touch, scroll bar and keyboard, and to the focused control.
Flickable {
    id: scroller

    property bool followsFocus: true
    // The height of a line for a text, which scrolls by whole lines; 0 for other content.
    property real line: 0
    readonly property real lastY: Math.max(0, contentHeight - height)

    readonly property Item focused: followsFocus ? Window.activeFocusItem : null
    // The item to show with the next frame, when every item has its position.
    property Item revealed: null

    function scrollTo(y) {
        contentY = Math.max(0, Math.min(lastY, line > 0 ? Math.round(y / line) * line : y));
    }

    // Scrolls until the whole item is in sight, or the whole clipped part that the item lies in.
    function show(item: Item) {
        const margin = 12;
        let seen = item;
        let above = item?.parent ?? null;
        for (; above && above !== contentItem; above = above.parent) {
            if (above.clip)
                seen = above;
        }
        if (above) {
            const top = seen.mapToItem(contentItem, 0, 0).y - margin;
            scrollTo(Math.min(Math.max(contentY, top + seen.height + 2 * margin - height), top));
        }
    }

    onFocusedChanged: show(focused)

    Connections {
        target: scroller.revealed ? scroller.Window.window : null
        function onAfterAnimating() {
            scroller.show(scroller.revealed);
            scroller.revealed = null;
        }
    }

    contentWidth: width
    boundsBehavior: Flickable.StopAtBounds
    // Only touch drags the content.
    interactive: !mouse.active
    clip: true
    onMovementEnded: if (contentY < lastY) scrollTo(contentY)

    Keys.enabled: contentHeight > height
    Keys.onUpPressed: scrollTo(contentY - (3 * line || 40))
    Keys.onDownPressed: scrollTo(contentY + (3 * line || 40))
    Keys.onPressed: event => {
        const pages = {
            [Qt.Key_PageUp]: contentY - height + line,
            [Qt.Key_PageDown]: contentY + height - line,
            [Qt.Key_Home]: 0,
            [Qt.Key_End]: contentHeight
        };
        event.accepted = event.key in pages;
        if (event.accepted)
            scrollTo(pages[event.key]);
    }

    // Hidden if everything is in sight.
    T.ScrollBar.vertical: T.ScrollBar {
        id: bar

        implicitWidth: 11
        padding: 2
        minimumSize: 0.08
        visible: size < 1
        Accessible.ignored: true

        contentItem: Rectangle {
            radius: width / 2
            color: Theme.thumb
            opacity: bar.pressed || bar.hovered ? 1 : 0.7
        }
    }

    // Lies on top, because buttons do not pass on the events that they handle.
    Item {
        parent: scroller
        anchors.fill: parent

        PointHandler {
            id: mouse
            acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
        }
    }
}
