import QtQuick
import Brindle

// All of the main window.
FocusScope {
    id: root

    required property var model

    // The height that shows all of it, also while a game is being downloaded. A failure scrolls.
    readonly property real wantedHeight: scroller.contentHeight + 80 * Theme.scale

    property bool settingsShown: false
    property bool aboutShown: false
    property bool logShown: false

    focus: true

    Rectangle {
        anchors.fill: parent
        color: Theme.window
    }

    FocusScroller {
        id: follower
        scroller: scroller
        home: playArea.playButton
    }

    Scroller {
        id: scroller
        objectName: "scroller"
        anchors.fill: parent
        contentHeight: column.height + 48

        Column {
            id: column
            x: 24
            y: 24
            width: scroller.width - 48
            spacing: 14

            HeroView {
                objectName: "hero"
                width: parent.width
            }

            Column {
                width: parent.width
                spacing: 4

                Label {
                    objectName: "name"
                    width: parent.width
                    content: root.model.name
                    font: Theme.largeTitle
                    horizontalAlignment: Text.AlignHCenter
                    maximumLineCount: 3
                    elide: Text.ElideRight
                    Accessible.role: Accessible.Heading
                }
                Label {
                    objectName: "tagline"
                    width: parent.width
                    content: root.model.tagline
                    font: Theme.callout
                    color: Theme.secondary
                    horizontalAlignment: Text.AlignHCenter
                }
                Label {
                    objectName: "licenseLine"
                    width: parent.width
                    content: DisplayText.of(root.model.licenseName) + " · " + DisplayText.of(root.model.copyright)
                    maxLength: 2000
                    font: Theme.caption
                    color: Theme.secondary
                    horizontalAlignment: Text.AlignHCenter
                }
            }

            ControlsBox {
                objectName: "controlsBox"
                width: parent.width
                model: root.model
            }

            Row {
                id: hint
                objectName: "performanceLine"
                anchors.horizontalCenter: parent.horizontalCenter
                spacing: 4

                Symbol {
                    id: bolt
                    objectName: "bolt"
                    anchors.verticalCenter: parent.verticalCenter
                    width: Theme.caption.pixelSize + 2
                    height: width
                    name: "bolt"
                    color: Theme.secondary
                    Accessible.ignored: true
                }
                Label {
                    objectName: "performanceHint"
                    width: Math.min(Math.ceil(implicitWidth), column.width - bolt.width - hint.spacing)
                    content: "This is a 3D game: it runs best on a fast Mac (Apple silicon recommended)."
                    font: Theme.caption
                    color: Theme.secondary
                    horizontalAlignment: Text.AlignHCenter
                }
            }

            StatusView {
                id: status
                objectName: "status"
                width: parent.width
                model: root.model
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
                width: parent.width
                model: root.model
                onVisibleChanged: if (visible) follower.reveal(failure)
            }

            Row {
                anchors.horizontalCenter: parent.horizontalCenter
                spacing: Theme.buttonSpacing

                PlainButton {
                    objectName: "showLogButton"
                    text: "Show log"
                    onClicked: root.logShown = true
                }
                PlainButton {
                    objectName: "settingsButton"
                    text: "Settings"
                    onClicked: root.settingsShown = true
                }
                PlainButton {
                    objectName: "aboutButton"
                    text: "About"
                    onClicked: root.aboutShown = true
                }
            }
        }
    }

    // The sheets' contents are made elsewhere, and see this file's names all the same.
    // qmllint disable unqualified
    Sheet {
        objectName: "settingsSheet"
        shown: root.settingsShown
        title: "Settings"
        onDismissed: root.settingsShown = false
        content: SettingsView {
            model: root.model
            onDismissed: root.settingsShown = false
        }
    }
    Sheet {
        objectName: "aboutSheet"
        shown: root.aboutShown
        title: "About Brindle"
        onDismissed: root.aboutShown = false
        content: AboutView {
            model: root.model
            onDismissed: root.aboutShown = false
        }
    }
    Sheet {
        objectName: "logSheet"
        shown: root.logShown
        title: "Log"
        onDismissed: root.logShown = false
        content: LogView {
            model: root.model
            log: root.model.log
            onDismissed: root.logShown = false
        }
    }
    // qmllint enable unqualified

    Shortcut {
        sequences: ["Ctrl+Q"]
        onActivated: root.model.quit()
    }
}
