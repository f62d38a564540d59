import QtQuick
import Quillon

// The current activity. Its height and its first line do not depend on whether there is a preview;
// it grows with the lines of a text that is typed or run.
Item {
    id: live

    required property SessionViewModel session

    implicitHeight: Math.max(34, texts.implicitHeight)
    objectName: "live"

    Spinner {
        objectName: "liveSpinner"
        visible: live.visible
        y: (status.height - height) / 2
    }

    Column {
        id: texts

        anchors.left: parent.left
        anchors.leftMargin: 14 + 8
        anchors.right: parent.right
        spacing: 2

        PlainText {
            id: status

            elide: Text.ElideRight
            font.weight: Font.Medium
            maximumLineCount: 5
            objectName: "liveStatus"
            text: live.session.status
            width: parent.width
            wrapMode: Text.NoWrap
        }

        PlainText {
            color: Theme.tertiary
            elide: Text.ElideLeft
            font.family: Theme.fixedFamily
            font.pixelSize: 11
            maximumLineCount: 1
            objectName: "livePreview"
            text: live.session.preview
            visible: text !== ""
            width: parent.width
            wrapMode: Text.NoWrap
        }
    }
}
