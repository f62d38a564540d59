import QtQuick
import QtQuick.Templates as T

// What all buttons have in common: the mouse leaves the keyboard where it is, and Return presses
// as Space does.
T.Button {
    id: button

    focusPolicy: Qt.TabFocus
    font.pixelSize: 13
    hoverEnabled: true

    Accessible.focusable: enabled
    Accessible.name: text
    Accessible.onPressAction: if (enabled)
        button.clicked()

    Keys.onEnterPressed: event => press(event)
    Keys.onReturnPressed: event => press(event)

    // A key that is held down presses once.
    function press(event: KeyEvent): void {
        if (!event.isAutoRepeat)
            button.clicked();
    }
}
