import QtQuick
import Quillon

Pressable {
    id: button

    // Whether this is the default button.
    property bool prominent: false

    font.weight: Font.Medium
    implicitHeight: 32
    implicitWidth: Math.max(88, implicitContentWidth + leftPadding + rightPadding)
    leftPadding: 16
    rightPadding: 16

    background: Rectangle {
        border.color: button.prominent ? "transparent" : Theme.hairline
        border.width: 1
        color: button.prominent ? Theme.accentFill : Theme.control
        radius: Theme.controlRadius

        Rectangle {
            anchors.fill: parent
            color: button.down ? Theme.pressed : button.hovered ? Theme.hover : "transparent"
            radius: parent.radius
        }

        FocusRing {
            visible: button.visualFocus
        }
    }
    contentItem: PlainText {
        Accessible.ignored: true
        color: button.prominent ? Theme.accentInk : Theme.primary
        elide: Text.ElideRight
        font: button.font
        horizontalAlignment: Text.AlignHCenter
        text: button.text
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.NoWrap
    }
}
