import QtQuick
import Brindle

// Shows a plain text, cleaned for display, that wraps.
Text {
    property string content
    // More than any honest text has, yet quick to lay out.
    property int maxLength: 500

    text: DisplayText.of(content, maxLength)
    color: Theme.text
    font: Theme.body
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    horizontalAlignment: Text.AlignLeft
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
