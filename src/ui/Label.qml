import QtQuick
import Brindle

// A plain text that wraps, cleaned for display.
Text {
    property string content
    // Longer than any honest text, and quick to lay out.
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
