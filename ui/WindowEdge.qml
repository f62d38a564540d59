import QtQuick

// A side or a corner to resize a window.
Item {
    id: edge

    required property int edges
    required property Window window

    readonly property bool atBottom: edges & Qt.BottomEdge
    readonly property bool atLeft: edges & Qt.LeftEdge
    readonly property bool atRight: edges & Qt.RightEdge
    readonly property bool atTop: edges & Qt.TopEdge
    readonly property bool isCorner: (atTop || atBottom) && (atLeft || atRight)
    readonly property int thickness: isCorner ? 12 : 6

    height: atTop || atBottom ? thickness : parent.height
    width: atLeft || atRight ? thickness : parent.width
    x: atRight ? parent.width - width : 0
    y: atBottom ? parent.height - height : 0

    HoverHandler {
        cursorShape: edge.isCorner ? (edge.atTop === edge.atLeft ? Qt.SizeFDiagCursor : Qt.SizeBDiagCursor) : edge.atTop || edge.atBottom ? Qt.SizeVerCursor : Qt.SizeHorCursor
    }

    TapHandler {
        gesturePolicy: TapHandler.DragThreshold

        onPressedChanged: if (pressed)
            edge.window.startSystemResize(edge.edges)
    }
}
