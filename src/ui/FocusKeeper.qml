import QtQuick

// Moves the keyboard's focus to another control of its parent when the focused one is hidden or
// disabled. The new control never ends or removes anything.
Item {
    id: keeper

    // The control that gets the focus back once it can be pressed, unless the player has moved on.
    property Item home: null

    readonly property Item focused: Window.activeFocusItem
    readonly property bool homeOffered: home !== null && home.visible && home.enabled
    // A scope has the focus only if its control can't.
    readonly property bool lost: focused !== null
        && (!focused.visible || !focused.enabled ? isBelow(focused, parent)
                                                 : focused === parent || isBelow(last, focused))
    property Item last: null
    // The control that the keeper gave the focus to.
    property Item refuge: null

    function isBelow(item: Item, other: Item): bool {
        for (let above = item?.parent; above; above = above.parent) {
            if (above === other)
                return true;
        }
        return false;
    }

    function settle() {
        if (homeOffered && (lost || refuge !== null && focused === refuge)) {
            refuge = null;
            home.forceActiveFocus();
        } else if (lost) {
            let next = last ?? parent;
            do
                next = next.nextItemInFocusChain();
            while (next !== last && (next.ending || next.destructive));
            refuge = next;
            next.forceActiveFocus();
        }
    }

    // Later, because the change that hides one control may show another one.
    function settleSoon() {
        Qt.callLater(settle); // qmllint disable
    }

    onFocusedChanged: {
        if (!lost && isBelow(focused, parent)) {
            last = focused;
            if (focused !== refuge)
                refuge = null;
        }
        settleSoon();
    }
    onLostChanged: settleSoon()
    onHomeOfferedChanged: settleSoon()
}
