import QtQuick
import Quillon

// Plain text that can be selected and copied.
TextEdit {
    activeFocusOnPress: true
    activeFocusOnTab: false
    color: Theme.primary
    font.pixelSize: 13
    readOnly: true
    selectByMouse: true
    selectedTextColor: Theme.primary
    selectionColor: Theme.selection
    textFormat: TextEdit.PlainText
    wrapMode: TextEdit.Wrap

    Accessible.name: text
    Accessible.readOnly: true
    Accessible.role: Accessible.StaticText

    onActiveFocusChanged: if (!activeFocus)
        deselect()
}
