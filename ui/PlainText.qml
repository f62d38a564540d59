import QtQuick
import Quillon

// Plain text: text from a model, a file or a user is never interpreted as markup.
Text {
    color: Theme.primary
    font.pixelSize: 13
    textFormat: Text.PlainText
    wrapMode: Text.Wrap

    Accessible.name: text
    Accessible.role: Accessible.StaticText
}
