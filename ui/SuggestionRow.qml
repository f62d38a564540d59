import QtQuick
import Quillon

// An example of a task.
Pressable {
    id: row

    property int symbolSize: 18

    font.pixelSize: 15
    implicitHeight: 44
    implicitWidth: leftPadding + implicitContentWidth + rightPadding
    leftPadding: 2 * symbolSize + 2
    rightPadding: 10

    background: Rectangle {
        color: row.down ? Theme.pressed : row.hovered ? Theme.hover : "transparent"
        radius: Theme.controlRadius

        FocusRing {
            anchors.margins: -1
            radius: Theme.controlRadius + 1
            visible: row.visualFocus
        }
    }
    contentItem: PlainText {
        Accessible.ignored: true
        elide: Text.ElideRight
        font: row.font
        text: row.text
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.NoWrap
    }

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
}
