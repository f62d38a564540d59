import QtQuick
import Quillon

// A glyph to press.
Pressable {
    id: button

    property color color: Theme.secondary
    property string help: ""
    property int glyphSize: 16
    required property string symbol

    implicitHeight: glyphSize + 8
    implicitWidth: glyphSize + 8

    Accessible.description: enabled ? help : unavailable

    background: Rectangle {
        color: button.down ? Theme.pressed : button.hovered ? Theme.hover : "transparent"
        radius: height / 2

        FocusRing {
            anchors.margins: -1
            radius: height / 2
            visible: button.visualFocus
        }
    }
    contentItem: Item {
        Glyph {
            Accessible.ignored: true
            anchors.centerIn: parent
            color: button.color
            height: button.glyphSize
            name: button.symbol
            width: button.glyphSize
        }
    }

    HelpTip {
        text: button.help
        visible: button.hovered && button.help !== ""
    }
}
