import QtQuick
import Quillon

// One task with its steps and its outcome.
Item {
    id: turn

    required property string command
    required property bool hasSummary
    required property LogModel log
    required property string summary

    implicitHeight: parts.implicitHeight

    Accessible.name: command
    Accessible.role: Accessible.ListItem

    FocusRing {
        anchors.margins: -8
        visible: turn.activeFocus
    }

    Column {
        id: parts

        spacing: 10
        width: turn.width

        SelectableText {
            font.pixelSize: 15
            font.weight: Font.DemiBold
            objectName: "turnCommand"
            text: turn.command
            width: turn.width

            Accessible.ignored: true
        }

        Column {
            objectName: "turnLog"
            spacing: 6
            visible: lines.count > 0
            width: turn.width

            Repeater {
                id: lines

                model: turn.log

                delegate: LogLine {
                    objectName: "logLine"
                    width: parent ? parent.width : 0
                }
            }
        }

        SelectableText {
            color: Theme.secondary
            objectName: "turnSummary"
            text: turn.summary
            topPadding: 2
            visible: turn.hasSummary
            width: turn.width
        }
    }
}
