import QtQuick
import Quillon

// Anchored, so that changing items on one side never overlap those on the other.
Item {
    id: footer

    required property ModelsViewModel models
    required property Panel panel

    // The height of all items here, so that their texts share a line and nothing moves if some
    // items appear or disappear.
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
        // The symbol is from another font, which may have higher lines.
        lineHeight: 15
        lineHeightMode: Text.FixedHeight
        objectName: "hotKeyHint"
        text: "⌥Space"
        y: badge.y

        Accessible.description: footer.panel.keyOffer.help

        HoverHandler {
            id: hover
        }

        HelpTip {
            objectName: "hotKeyTip"
            text: footer.panel.keyOffer.help
            visible: hover.hovered
            // The hint may be at the panel's edge.
            x: hint.width - width
            y: -height - 4
        }
    }

    ModelMenu {
        id: menu

        anchors.right: parent.right
        // Aligns the visible symbol, not the edge of the clickable area.
        anchors.rightMargin: -6
        height: footer.lineHeight
        models: footer.models
        visible: footer.models.isLoaded
    }
}
