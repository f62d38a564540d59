import QtQuick
import Quillon

// A soft shadow around its parent, as an image: blurring would cost more than the whole panel.
BorderImage {
    anchors.fill: parent
    anchors.bottomMargin: -44
    anchors.leftMargin: -36
    anchors.rightMargin: -36
    anchors.topMargin: -28
    border.bottom: 56
    border.left: 56
    border.right: 56
    border.top: 56
    opacity: Theme.dark ? 1 : 0.6
    // Not before it is shown: reading images takes a tenth of a frame.
    source: visible ? "shadow.png" : ""
    z: -1

    Accessible.ignored: true
}
