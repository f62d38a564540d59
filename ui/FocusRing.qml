import QtQuick
import Quillon

// Shows where the keyboard is, around its parent.
Rectangle {
    anchors.fill: parent
    anchors.margins: -3
    border.color: Theme.accent
    border.width: 2
    color: "transparent"
    radius: Theme.controlRadius + 3
}
