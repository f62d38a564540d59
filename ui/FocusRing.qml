import QtQuick
import Quillon

// Shows that its parent has the keyboard focus.
Rectangle {
    anchors.fill: parent
    anchors.margins: -3
    border.color: Theme.accent
    border.width: 2
    color: "transparent"
    radius: Theme.controlRadius + 3
}
