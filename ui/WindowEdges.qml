import QtQuick
import Quillon

// Edges to resize a frameless window. Corners are above sides.
Item {
    id: all

    required property Window window

    WindowEdge {
        edges: Qt.TopEdge
        window: all.window
    }

    WindowEdge {
        edges: Qt.LeftEdge
        window: all.window
    }

    WindowEdge {
        edges: Qt.RightEdge
        window: all.window
    }

    WindowEdge {
        edges: Qt.BottomEdge
        window: all.window
    }

    WindowEdge {
        edges: Qt.TopEdge | Qt.LeftEdge
        window: all.window
    }

    WindowEdge {
        edges: Qt.TopEdge | Qt.RightEdge
        window: all.window
    }

    WindowEdge {
        edges: Qt.BottomEdge | Qt.LeftEdge
        window: all.window
    }

    WindowEdge {
        edges: Qt.BottomEdge | Qt.RightEdge
        window: all.window
    }
}
