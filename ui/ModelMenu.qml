import QtQuick
import QtQuick.Templates as T
import Quillon

// The name of the loaded model, with a menu to choose another one.
Pressable {
    id: button

    required property ModelsViewModel models

    checked: menu.visible
    font.pixelSize: 11
    implicitHeight: 24
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    leftPadding: 8
    objectName: "modelMenuButton"
    rightPadding: 4
    text: models.selectedName

    Accessible.description: text
    Accessible.name: "Model"
    Accessible.role: Accessible.ButtonMenu

    onClicked: menu.open()

    background: Rectangle {
        color: button.down || menu.visible ? Theme.pressed : button.hovered ? Theme.hover : "transparent"
        radius: 6

        FocusRing {
            anchors.margins: -1
            radius: 7
            visible: button.visualFocus
        }
    }
    contentItem: Row {
        spacing: 4

        PlainText {
            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.secondary
            font: button.font
            objectName: "modelMenuText"
            text: button.text
            wrapMode: Text.NoWrap
        }

        Glyph {
            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.secondary
            height: 12
            name: "chevron.up.chevron.down"
            width: 12
        }
    }

    T.Menu {
        id: menu

        implicitHeight: implicitContentHeight + topPadding + bottomPadding
        implicitWidth: 220
        margins: 8
        objectName: "modelMenu"
        padding: 5
        x: button.width - width
        y: -height - 4

        // Like menus, closes without focus, also when the panel is hidden.
        onActiveFocusChanged: if (!activeFocus)
            close()

        background: PopupSurface {}
        contentItem: ListView {
            currentIndex: menu.currentIndex
            implicitHeight: contentHeight
            interactive: false
            model: menu.contentModel
        }

        Instantiator {
            model: button.models.choices

            delegate: T.MenuItem {
                id: item

                required property int index
                required property ModelChoice modelData

                implicitHeight: implicitContentHeight
                objectName: "modelMenuItem" + index
                text: modelData.name

                Accessible.checkable: true
                Accessible.checked: modelData.isSelected
                Accessible.name: text
                Accessible.onPressAction: item.clicked()

                onTriggered: modelData.select()

                contentItem: ChoiceRow {
                    chosen: item.modelData.isSelected
                    highlighted: item.highlighted
                    text: item.text
                }
            }

            onObjectAdded: (index, object) => menu.insertItem(index, object as T.MenuItem)
            onObjectRemoved: (index, object) => menu.removeItem(object as T.MenuItem)
        }
    }
}
