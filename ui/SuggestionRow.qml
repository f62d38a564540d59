import QtQuick
import Quillon

// An example of a task.
Pressable {
    id: row

    property int symbolSize: 18

    font.pixelSize: 15
    implicitHeight: 44
    implicitWidth: label.x + label.implicitWidth + 10

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
            height: row.symbolSize
            name: "arrow.turn.down.right"
            objectName: "suggestionSymbol"
            width: row.symbolSize
            x: row.symbolSize / 2 + 1
        }

        PlainText {
            id: label

            Accessible.ignored: true
            anchors.left: parent.left
            anchors.leftMargin: 2 * row.symbolSize + 2
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
