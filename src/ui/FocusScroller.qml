import QtQuick

// Looks after the keyboard's focus in its window: scrolls so that the control that gets it can be
// seen whole, and gives it to `home` when the control that had it is gone.
Item {
    id: follower

    required property Flickable scroller
    // Kept free around the control.
    property real margin: 12
    // Where the focus goes, once it can, while no control has it.
    property Item home: null

    readonly property Item focused: Window.activeFocusItem
    readonly property bool offered: home !== null && home.visible && home.enabled
    // To be seen with the next frame, when everything has its place.
    property Item revealed: null

    function reveal(item: Item) {
        revealed = item;
        Window.window.update();
    }

    onFocusedChanged: {
        if (focused)
            scrollTo(focused);
        goHomeSoon();
    }
    onOfferedChanged: goHomeSoon()

    // What hides one control may show another a moment later.
    function goHomeSoon() {
        Qt.callLater(goHome); // qmllint disable
    }

    function goHome() {
        // No item has it in a window that does not have the keyboard itself, which knows where it was
        // and gives it back. (`Window.active` holds for a sheet over the window as well.)
        // While the window goes, `home` may have gone first.
        if (!home || !offered || !focused)
            return;
        // Items keep the focus when they are hidden; a menu over the window is a scope of its own.
        if (!focused.visible || isBelow(home, focused))
            home.forceActiveFocus(Qt.OtherFocusReason);
    }

    function isBelow(item: Item, other: Item): bool {
        for (let above = item.parent; above; above = above.parent) {
            if (above === other)
                return true;
        }
        return false;
    }

    function scrollTo(item: Item) {
        if (!isBelow(item, scroller.contentItem))
            return;
        // What lies in a scrolled part of its own: that part's frame.
        let seen = item;
        for (let above = item.parent; above !== scroller.contentItem; above = above.parent) {
            if (above.clip)
                seen = above;
        }
        const top = seen.mapToItem(scroller.contentItem, 0, 0).y;
        const last = Math.max(0, scroller.contentHeight - scroller.height);
        const lowest = Math.min(top - margin, last);
        const highest = top + seen.height + margin - scroller.height;
        scroller.contentY = Math.max(0, Math.min(Math.max(scroller.contentY, highest), lowest));
    }

    Connections {
        target: follower.revealed ? follower.Window.window : null
        function onAfterAnimating() {
            // While the window goes, it may have gone first.
            if (follower.revealed)
                follower.scrollTo(follower.revealed);
            follower.revealed = null;
        }
    }
}
