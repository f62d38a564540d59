pragma Singleton

import QtQuick

// The turn of all spinners: those that are seen at once turn as one.
QtObject {
    id: beat

    property int turn: 0
    // How many are seen and may move.
    property int spinners: 0

    readonly property Timer timer: Timer {
        interval: 83
        repeat: true
        running: beat.spinners > 0

        onTriggered: beat.turn = (beat.turn + 45) % 360
    }
}
