import QtQuick

// The least that a panel needs: tests of the shell look at its title, its size, and who has the
// keyboard.
Window {
    id: root

    required property QtObject panel

    title: "Quillon"
    width: 720
    height: 620
    minimumWidth: 640
    minimumHeight: 460
    color: "transparent"

    Rectangle {
        anchors.fill: parent
        color: root.panel.darkMode ? "#202124" : "#f5f5f7"

        TextInput {
            id: field

            anchors.centerIn: parent
            width: 400
            focus: true
            Keys.onEscapePressed: root.panel.hide()
        }
    }

    Connections {
        target: root.panel

        function onSummonPalette() {
            field.forceActiveFocus();
        }
    }
}
