import QtQuick
import Quillon

// Minimise and close buttons for a window without a system frame.
Row {
    id: controls

    required property Panel panel

    spacing: 4

    IconButton {
        color: Theme.tertiary
        glyphSize: 12
        objectName: "minimiseButton"
        symbol: "minus"
        text: "Minimise"

        onClicked: controls.panel.minimise()
    }

    IconButton {
        color: Theme.tertiary
        glyphSize: 12
        objectName: "closeButton"
        symbol: "xmark"
        text: "Close"

        onClicked: controls.panel.close()
    }
}
