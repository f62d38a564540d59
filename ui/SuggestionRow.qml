import QtQuick
import Quillon

// An example of a task.
Pressable {
    id: row

    font.pixelSize: 15
    implicitHeight: 44

    background: Rectangle {
        color: row.down ? Theme.pressed : row.hovered ? Theme.hover : "transparent"
        radius: Theme.controlRadius

        FocusRing {
            anchors.margins: -1
            radius: Theme.controlRadius + 1
            visible: row.visualFocus
        }
    }
    contentItem: Item {
        Glyph {
            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.secondary
            height: 18
            name: "arrow.turn.down.right"
            objectName: "suggestionSymbol"
            width: 18
            x: 10
        }

        PlainText {
            Accessible.ignored: true
            anchors.left: parent.left
            anchors.leftMargin: 38
            anchors.right: parent.right
            anchors.rightMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            elide: Text.ElideRight
            font: row.font
            text: row.text
            wrapMode: Text.NoWrap
        }
    }
}
