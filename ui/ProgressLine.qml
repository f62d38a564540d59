import QtQuick
import QtQuick.Templates as T
import Quillon

T.ProgressBar {
    id: bar

    implicitHeight: 6

    background: Rectangle {
        color: Theme.track
        radius: height / 2
    }
    contentItem: Item {
        Rectangle {
            color: Theme.accent
            height: parent.height
            radius: height / 2
            visible: bar.position > 0
            width: Math.max(height, bar.position * parent.width)
        }
    }
}
