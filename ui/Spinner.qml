import QtQuick
import Quillon

// Turns in twelfths of a second like the systems' own: few frames, and none while nobody sees it.
Glyph {
    id: spinner

    color: Theme.secondary
    implicitHeight: 14
    implicitWidth: 14
    name: "spinner"

    Accessible.ignored: true

    Timer {
        interval: 83
        repeat: true
        running: spinner.visible && spinner.Window.visibility !== Window.Hidden && spinner.Window.visibility !== Window.Minimized && !Theme.reducedMotion

        onTriggered: spinner.turn = (spinner.turn + 45) % 360
    }
}
