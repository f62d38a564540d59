import QtQuick
import QtQuick.Templates as T
import Quillon

T.ToolTip {
    id: tip

    delay: 700
    font.pixelSize: 11
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    leftPadding: 8
    rightPadding: 8
    topPadding: 4
    bottomPadding: 4
    x: parent ? (parent.width - width) / 2 : 0
    y: parent ? parent.height + 4 : 0

    background: Rectangle {
        border.color: Theme.hairline
        color: Theme.raised
        radius: 6
    }
    contentItem: PlainText {
        font: tip.font
        text: tip.text
        wrapMode: Text.NoWrap
    }
}
