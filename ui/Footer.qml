import QtQuick
import Quillon

// Anchored, so that what comes and goes on one side is never laid over the other.
Item {
    id: footer

    required property ModelsViewModel models
    required property Panel panel

    // Of all that stands here, so that the texts share a line and nothing moves when some of them
    // come and go.
    readonly property int lineHeight: 24

    implicitHeight: lineHeight

    Row {
        height: footer.lineHeight
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
            id: badge

            anchors.verticalCenter: parent.verticalCenter
            color: Theme.secondary
            font.pixelSize: 11
            objectName: "onDevice"
            text: "On-device"
        }
    }

    LinkButton {
        height: footer.lineHeight
        objectName: "grantButton"
        symbol: "hand.raised.fill"
        text: "Grant Accessibility access"
        visible: !footer.panel.trusted

        onClicked: footer.panel.requestTrust()
    }

    PlainText {
        id: hint

        anchors.right: menu.visible ? menu.left : parent.right
        anchors.rightMargin: menu.visible ? 12 : 0
        color: Theme.tertiary
        font.pixelSize: 11
        // The symbol comes from another font, whose lines may be higher.
        lineHeight: 15
        lineHeightMode: Text.FixedHeight
        objectName: "hotKeyHint"
        text: "⌥Space"
        y: badge.y
    }

    ModelMenu {
        id: menu

        anchors.right: parent.right
        // It is felt as far as its edge and seen as far as its symbol.
        anchors.rightMargin: -6
        height: footer.lineHeight
        models: footer.models
        visible: footer.models.isLoaded
    }
}
