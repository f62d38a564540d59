import QtQuick
import QtQuick.Templates as T
import Quillon

T.ComboBox {
    id: picker

    required property ModelsViewModel models

    currentIndex: models.selected
    focusPolicy: Qt.TabFocus
    font.pixelSize: 13
    hoverEnabled: true
    implicitHeight: 32
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    leftPadding: 14
    model: models.choices
    objectName: "modelPicker"
    rightPadding: 34
    textRole: "row"

    Accessible.description: displayText
    Accessible.name: "Model"
    Accessible.onPressAction: popup.open()

    Keys.onEscapePressed: event => {
        event.accepted = popup.visible;
        popup.close();
    }
    // On release: an open list handles the press as the choice.
    Keys.onReleased: event => {
        if ((event.key === Qt.Key_Return || event.key === Qt.Key_Enter) && !popup.visible) {
            popup.open();
            event.accepted = true;
        }
    }
    onActivated: index => models.choices[index].select()

    background: Rectangle {
        border.color: Theme.hairline
        color: Theme.control
        radius: Theme.controlRadius

        Rectangle {
            anchors.fill: parent
            color: picker.down ? Theme.pressed : picker.hovered ? Theme.hover : "transparent"
            radius: parent.radius
        }

        FocusRing {
            visible: picker.visualFocus
        }
    }
    contentItem: PlainText {
        Accessible.ignored: true
        elide: Text.ElideRight
        font: picker.font
        text: picker.displayText
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.NoWrap
    }
    delegate: T.ItemDelegate {
        id: choice

        required property int index
        required property ModelChoice modelData

        highlighted: ListView.isCurrentItem
        implicitHeight: implicitContentHeight
        objectName: "modelPickerRow" + index
        text: modelData.row
        width: ListView.view ? ListView.view.width : implicitContentWidth

        Accessible.checkable: true
        Accessible.checked: modelData.isSelected
        Accessible.name: text
        Accessible.onPressAction: choice.clicked()

        contentItem: ChoiceRow {
            chosen: choice.modelData.isSelected
            highlighted: choice.highlighted
            text: choice.text
        }
    }
    indicator: Glyph {
        Accessible.ignored: true
        color: Theme.secondary
        height: 14
        name: "chevron.up.chevron.down"
        width: 14
        x: picker.width - width - 12
        y: (picker.height - height) / 2
    }
    popup: T.Popup {
        implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
        objectName: "modelPickerList"
        padding: 5
        width: picker.width + 24
        x: -12
        y: picker.height + 4

        // Keys go to the list, also if the mouse opened it.
        onAboutToShow: picker.forceActiveFocus(Qt.PopupFocusReason)

        background: PopupSurface {}
        contentItem: ListView {
            currentIndex: picker.highlightedIndex
            implicitHeight: contentHeight
            interactive: false
            model: picker.delegateModel
        }
    }
}
