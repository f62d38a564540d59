import QtQuick
import Quillon

// Fades the contents out at an edge beyond which they extend.
Rectangle {
    id: edge

    property bool isLeft: false

    height: parent ? parent.height : 0
    width: 28

    Accessible.ignored: true

    gradient: Gradient {
        orientation: Gradient.Horizontal

        GradientStop {
            color: Qt.alpha(Theme.surface, edge.isLeft ? 1 : 0)
            position: 0
        }

        GradientStop {
            color: Qt.alpha(Theme.surface, edge.isLeft ? 0 : 1)
            position: 1
        }
    }
}
