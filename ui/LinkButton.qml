import QtQuick
import Quillon

Pressable {
    id: button

    required property string symbol

    font.pixelSize: 11
    implicitHeight: 24
    implicitWidth: implicitContentWidth

    // Looks like a link but acts as a button.
    Accessible.role: Accessible.Button

    background: Item {
        FocusRing {
            visible: button.visualFocus
        }

        HoverHandler {
            cursorShape: Qt.PointingHandCursor
        }
    }
    contentItem: Row {
        spacing: 6

        Glyph {
            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.accentText
            height: 13
            name: button.symbol
            width: 13
        }

        PlainText {
            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.accentText
            font.pixelSize: button.font.pixelSize
            font.underline: button.hovered
            text: button.text
            wrapMode: Text.NoWrap
        }
    }
}
