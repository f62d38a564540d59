import QtQuick
import Quillon

// Rotates in steps of a twelfth like the systems' spinners: few frames, and none while it is not
// visible.
Glyph {
    id: spinner

    color: Theme.secondary
    implicitHeight: 14
    implicitWidth: 14
    name: "spinner"

    Accessible.ignored: true

    readonly property bool isSeen: visible && Window.visibility !== Window.Hidden && Window.visibility !== Window.Minimized
    readonly property bool turns: isSeen && !Theme.reducedMotion

    turn: SpinnerBeat.turn

    Component.onDestruction: if (turns)
        SpinnerBeat.spinners -= 1
    onTurnsChanged: SpinnerBeat.spinners += turns ? 1 : -1
}
