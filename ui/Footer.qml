import QtQuick
import QtQuick.Layouts
import Quillon

RowLayout {
    id: footer

    required property ModelsView models
    required property Panel panel

    spacing: 12

    Row {
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
            color: Theme.secondary
            font.pixelSize: 11
            objectName: "onDevice"
            text: "On-device"
        }
    }

    LinkButton {
        objectName: "grantButton"
        symbol: "hand.raised.fill"
        text: "Grant Accessibility access"
        visible: !footer.panel.trusted

        onClicked: footer.panel.requestTrust()
    }

    Item {
        Layout.fillWidth: true
    }

    PlainText {
        color: Theme.tertiary
        font.pixelSize: 11
        // The symbol comes from another font, whose lines may be higher.
        lineHeight: 15
        lineHeightMode: Text.FixedHeight
        objectName: "hotKeyHint"
        text: "⌥Space"
    }

    ModelMenu {
        models: footer.models
        visible: footer.models.isLoaded
    }
}
