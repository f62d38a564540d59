import QtQuick
import Quillon

Item {
    id: line

    required property bool running
    required property string spoken
    required property string symbol
    required property int symbolColor
    required property string text
    required property int textColor

    implicitHeight: Math.max(label.implicitHeight, 14)

    Accessible.description: spoken
    Accessible.name: text
    Accessible.role: Accessible.ListItem

    Item {
        anchors.verticalCenter: parent.verticalCenter
        height: 14
        objectName: "lineSymbolPlace"
        width: 14

        Glyph {
            objectName: "lineSymbol"
            Accessible.ignored: true
            anchors.centerIn: parent
            color: Theme.roleColor(line.symbolColor)
            height: 13
            name: line.symbol
            visible: !line.running
            width: 13
        }

        Spinner {
            objectName: "lineSpinner"
            anchors.centerIn: parent
            height: 12
            visible: line.running
            width: 12
        }
    }

    SelectableText {
        id: label

        objectName: "lineText"
        // Screen readers read the line itself.
        Accessible.ignored: true
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.roleColor(line.textColor)
        text: line.text
        width: parent.width - x
        x: 14 + 8
    }
}
