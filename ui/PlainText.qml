import QtQuick
import Quillon

// Text as it is: whatever comes from a model, a file or a user is never markup.
Text {
    color: Theme.primary
    font.pixelSize: 13
    textFormat: Text.PlainText
    wrapMode: Text.Wrap

    Accessible.name: text
    Accessible.role: Accessible.StaticText
}
