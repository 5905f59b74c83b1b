import QtQuick
import Brindle

// A text that is shown as it is, whatever it holds, and wraps.
Text {
    color: Theme.text
    font: Theme.body
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
