import QtQuick
import Quillon

// A notice above the footer, until it was answered: that another program owns the hot key.
Item {
    id: notice

    required property KeyOffer offer

    // A command with a long path has several lines, so that it can be read.
    implicitHeight: Math.max(36, label.implicitHeight + 16)
    objectName: "keyNotice"

    Accessible.name: offer.text
    Accessible.role: Accessible.AlertMessage

    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        color: Theme.separator
        height: 1
        opacity: 0.4
    }

    PlainText {
        id: label

        anchors.left: parent.left
        anchors.leftMargin: Theme.margin
        anchors.right: buttons.left
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.secondary
        elide: Text.ElideRight
        font.pixelSize: 12
        maximumLineCount: 4
        objectName: "keyNoticeText"
        text: notice.offer.text
        wrapMode: Text.Wrap
    }

    Row {
        id: buttons

        anchors.right: parent.right
        anchors.rightMargin: Theme.margin - 6
        anchors.verticalCenter: parent.verticalCenter
        spacing: 8

        LinkButton {
            anchors.verticalCenter: parent.verticalCenter
            objectName: "keyNoticeAction"
            symbol: "checkmark"
            text: notice.offer.action
            visible: text !== ""

            onClicked: notice.offer.accept()
        }

        IconButton {
            anchors.verticalCenter: parent.verticalCenter
            glyphSize: 10
            objectName: "keyNoticeClose"
            symbol: "xmark"
            text: "Dismiss"

            onClicked: notice.offer.dismiss()
        }
    }
}
