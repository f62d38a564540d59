import QtQuick
import Quillon

// The appearance of a row in a popup list.
Item {
    id: row

    required property bool chosen
    required property bool highlighted
    required property string text

    implicitHeight: 28
    implicitWidth: label.implicitWidth + 44

    Rectangle {
        anchors.fill: parent
        color: row.highlighted ? Theme.accentFill : "transparent"
        radius: Theme.controlRadius - 2
    }

    Glyph {
        Accessible.ignored: true
        anchors.verticalCenter: parent.verticalCenter
        color: label.color
        height: 11
        name: "checkmark"
        visible: row.chosen
        width: 11
        x: 10
    }

    PlainText {
        id: label

        Accessible.ignored: true
        anchors.left: parent.left
        anchors.leftMargin: 30
        anchors.right: parent.right
        anchors.rightMargin: 14
        anchors.verticalCenter: parent.verticalCenter
        color: row.highlighted ? Theme.accentInk : Theme.primary
        elide: Text.ElideRight
        text: row.text
        wrapMode: Text.NoWrap
    }
}
