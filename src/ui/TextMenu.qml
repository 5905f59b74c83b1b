pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T
import Brindle

// The context menu of a selectable text.
T.Menu {
    id: menu

    required property TextEdit edit

    component Entry: T.MenuItem {
        id: entry

        implicitWidth: implicitContentWidth + leftPadding + rightPadding
        implicitHeight: Theme.buttonHeight
        horizontalPadding: 12
        font: Theme.body
        hoverEnabled: true
        Accessible.name: text
        Accessible.description: enabled ? "" : "Not available now"
        Accessible.onPressAction: if (enabled) triggered()

        contentItem: Label {
            content: entry.text
            font: entry.font
            color: !entry.enabled ? Theme.textOff : entry.highlighted ? Theme.accentText : Theme.text
            verticalAlignment: Text.AlignVCenter
            Accessible.ignored: true
        }
        background: SmoothRectangle {
            radius: 5
            color: !entry.highlighted ? "transparent" : entry.down ? Theme.accentDown : Theme.accent
        }
    }

    objectName: "textMenu"
    onClosed: edit.forceActiveFocus(Qt.PopupFocusReason)
    padding: 4
    margins: padding
    implicitWidth: selectAll.implicitWidth + leftPadding + rightPadding
    implicitHeight: contentHeight + topPadding + bottomPadding

    Entry {
        objectName: "menuCopy"
        text: "Copy"
        enabled: menu.edit.selectedText !== ""
        onTriggered: menu.edit.copy()
    }
    Entry {
        id: selectAll
        objectName: "menuSelectAll"
        text: "Select All"
        enabled: menu.edit.length > 0
        onTriggered: menu.edit.selectAll()
    }

    contentItem: ListView {
        implicitHeight: contentHeight
        model: menu.contentModel
        currentIndex: menu.currentIndex
    }
    background: SmoothRectangle {
        radius: Theme.buttonRadius
        color: Theme.menu
        borderColor: Theme.paneEdge
    }
}
