pragma Singleton

import QtQuick

// The angle of all spinners, so that visible ones rotate in step.
QtObject {
    id: beat

    property int turn: 0
    // The number of spinners that are visible and animated.
    property int spinners: 0

    readonly property Timer timer: Timer {
        interval: 83
        repeat: true
        running: beat.spinners > 0

        onTriggered: beat.turn = (beat.turn + 45) % 360
    }
}
