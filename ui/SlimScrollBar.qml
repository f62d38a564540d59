import QtQuick
import QtQuick.Templates as T
import Quillon

T.ScrollBar {
    id: bar

    // Whether it is also visible without scrolling.
    property bool stays: false

    focusPolicy: Qt.NoFocus
    implicitWidth: 12
    minimumSize: 0.08
    padding: 3

    contentItem: Rectangle {
        color: Theme.tertiary
        opacity: bar.pressed ? 0.9 : bar.stays || bar.active || bar.hovered ? 0.6 : 0
        radius: width / 2
        visible: bar.size < 1

        Behavior on opacity {
            NumberAnimation {
                duration: Theme.motion
                easing.type: Easing.OutCubic
            }
        }
    }
}
