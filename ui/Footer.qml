import QtQuick
import QtQuick.Layouts
import Quillon

RowLayout {
    id: footer

    required property ModelsViewModel models
    required property Panel panel

    // Of all that stands here, so that the texts share a line and nothing moves when some of them
    // come and go.
    readonly property int lineHeight: 24

    spacing: 12

    Row {
        Layout.preferredHeight: footer.lineHeight
        spacing: 6
        visible: footer.panel.trusted

        Glyph {
            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.secondary
            height: 12
            name: "lock.fill"
            objectName: "onDeviceSymbol"
            width: 12
        }

        PlainText {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.secondary
            font.pixelSize: 11
            objectName: "onDevice"
            text: "On-device"
        }
    }

    LinkButton {
        implicitHeight: footer.lineHeight
        objectName: "grantButton"
        symbol: "hand.raised.fill"
        text: "Grant Accessibility access"
        visible: !footer.panel.trusted

        onClicked: footer.panel.requestTrust()
    }

    Item {
        Layout.fillWidth: true
    }

    Row {
        Layout.preferredHeight: footer.lineHeight

        PlainText {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.tertiary
            font.pixelSize: 11
            // The symbol comes from another font, whose lines may be higher.
            lineHeight: 15
            lineHeightMode: Text.FixedHeight
            objectName: "hotKeyHint"
            text: "⌥Space"
        }
    }

    ModelMenu {
        // It is felt as far as its edge and seen as far as its symbol.
        Layout.rightMargin: -6
        implicitHeight: footer.lineHeight
        models: footer.models
        visible: footer.models.isLoaded
    }
}
