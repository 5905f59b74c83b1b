import QtQuick
import Brindle

// Shows the main window's content, and its sheets.
FocusScope {
    id: root

    required property var model

    // The height that shows everything, with room for a download's rows unless there is a failure.
    readonly property real wantedHeight: scroller.leastHeight
        + (model.hasFailure ? 0 : Math.max(0, status.workHeight - status.height))

    property bool settingsShown: false
    property bool aboutShown: false
    property bool logShown: false

    focus: true
    Accessible.role: Accessible.Pane

    readonly property Item focused: Window.activeFocusItem
    // True if the focused control is hidden or disabled. Qt may have moved the focus to this scope.
    readonly property bool focusLost: activeFocus && (focused === root || !focused.visible || !focused.enabled)
    readonly property bool playOffered: playArea.playButton.visible && playArea.playButton.enabled
    // True while "Show log", which is harmless, keeps the focus until Play can be pressed.
    property bool focusWaits

    function settleFocus() {
        if (focused !== null && focused === Window.contentItem) {
            forceActiveFocus(Qt.PopupFocusReason); // the last popup has closed
        } else if (playOffered && (focusLost || focusWaits && focused === log)) {
            playArea.playButton.forceActiveFocus();
        } else if (focusLost) {
            log.forceActiveFocus();
            focusWaits = true;
        } else if (activeFocus && focused !== log) {
            focusWaits = false;
        }
    }

    // Calls `settleFocus` later: a change that hides one control may show another.
    function settleFocusSoon() {
        Qt.callLater(settleFocus); // qmllint disable
    }

    onFocusedChanged: settleFocusSoon()
    onFocusLostChanged: settleFocusSoon()
    onPlayOfferedChanged: settleFocusSoon()

    // False until the first frame. Before that, nothing is animated.
    property bool settled
    Connections {
        target: root.Window.window
        enabled: !root.settled
        function onFrameSwapped() { root.settled = true }
    }

    component Fade: NumberAnimation {
        duration: Theme.duration
        easing.type: Easing.OutCubic
    }
    Scroller {
        id: scroller
        objectName: "scroller"
        anchors.fill: parent
        contentHeight: Math.max(height, leastHeight)

        // Show more above a failure, not below, when the window grows for it.
        property real earlierHeight: 0
        onHeightChanged: {
            if (height > earlierHeight)
                scrollTo(contentY - (height - earlierHeight));
            earlierHeight = height;
        }

        readonly property real leastHeight: game.height + status.height + actions.height + 2 * 24 + 2 * 14
        readonly property real actionsY: contentHeight - 24 - actions.height

        Column {
            id: game
            x: 24
            y: 24
            width: parent.width - 48
            spacing: 14

            HeroView {
                objectName: "hero"
                width: parent.width
            }

            Column {
                width: parent.width
                spacing: 4

                Note {
                    objectName: "name"
                    content: root.model.name
                    font: Theme.largeTitle
                    color: Theme.text
                    maximumLineCount: 3
                    elide: Text.ElideRight
                    Accessible.role: Accessible.Heading
                }
                Note {
                    objectName: "tagline"
                    content: root.model.tagline
                }
                Note {
                    objectName: "licenseLine"
                    content: DisplayText.of(root.model.licenseName) + " · " + DisplayText.of(root.model.copyright)
                    maxLength: 2000
                    font: Theme.caption
                }
            }

            ControlsBox {
                objectName: "controlsBox"
                model: root.model
            }

            Note {
                id: hint
                objectName: "performanceHint"
                leftPadding: bolt.width + 4
                content: "This is a 3D game: it runs best on a fast Mac (Apple silicon recommended)."
                font: Theme.caption

                Symbol {
                    id: bolt
                    objectName: "bolt"
                    anchors.verticalCenter: parent.verticalCenter
                    // Stands left of the longest line.
                    x: Math.floor((hint.width - hint.leftPadding - hint.contentWidth) / 2)
                    width: Theme.caption.pixelSize + 2
                    height: width
                    name: "bolt"
                    color: Theme.secondary
                }
            }
        }

        StatusView {
            id: status
            objectName: "status"
            x: game.x
            // Grows upwards, so that Play does not move.
            y: scroller.actionsY - 14 - height
            Behavior on y {
                enabled: root.settled
                Fade {}
            }
            width: game.width
            model: root.model
        }

        Column {
            id: actions
            x: game.x
            y: scroller.actionsY
            width: game.width
            spacing: 14
            add: Transition {
                enabled: root.settled
                Fade { property: "opacity"; from: 0; to: 1 }
            }
            move: Transition {
                enabled: root.settled
                Fade { property: "y" }
                Fade { property: "opacity"; to: 1 }
            }
            Behavior on y {
                // The view scrolls to a failure at once, so the failure must not slide.
                enabled: root.settled && !failure.visible
                Fade {}
            }

            PlayArea {
                id: playArea
                objectName: "playArea"
                width: parent.width
                model: root.model
            }

            FailureView {
                id: failure
                objectName: "failure"
                model: root.model
                onVisibleChanged: if (visible) scroller.revealed = failure
            }

            // The three buttons together are as wide as Play, unless their texts need more.
            Row {
                id: sheetButtons
                readonly property real each: Math.max((260 - 2 * spacing) / 3, log.implicitWidth, settings.implicitWidth, about.implicitWidth)
                anchors.horizontalCenter: parent.horizontalCenter
                spacing: Theme.buttonSpacing

                PushButton {
                    id: log
                    objectName: "showLogButton"
                    width: sheetButtons.each
                    text: "Show log"
                    onClicked: root.logShown = true
                }
                PushButton {
                    id: settings
                    objectName: "settingsButton"
                    width: sheetButtons.each
                    text: "Settings"
                    onClicked: root.settingsShown = true
                }
                PushButton {
                    id: about
                    objectName: "aboutButton"
                    width: sheetButtons.each
                    text: "About"
                    onClicked: root.aboutShown = true
                }
            }
        }
    }

    // The sheets create the views, but the views see the names of this file.
    // qmllint disable unqualified
    Sheet {
        objectName: "settingsSheet"
        visible: root.settingsShown
        content: SettingsView {
            model: root.model
            onDismissed: root.settingsShown = false
        }
    }
    Sheet {
        objectName: "aboutSheet"
        visible: root.aboutShown
        content: AboutView {
            model: root.model
            onDismissed: root.aboutShown = false
        }
    }
    Sheet {
        objectName: "logSheet"
        visible: root.logShown
        content: LogView {
            model: root.model
            log: root.model.log
            onDismissed: root.logShown = false
        }
    }

    // qmllint enable unqualified

    Shortcut {
        sequences: ["Ctrl+Q"]
        context: Qt.ApplicationShortcut
        onActivated: root.model.quit()
    }
}
