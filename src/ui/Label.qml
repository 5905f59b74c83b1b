import QtQuick
import Brindle

// A text that wraps. Whatever its content holds, it is shown as it is, and made fit for that here.
Text {
    property string content
    // More than any honest text of its kind needs, and no more than can be laid out in a moment.
    property int maxLength: 500

    text: DisplayText.of(content, maxLength)
    color: Theme.text
    font: Theme.body
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
