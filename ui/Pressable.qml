import QtQuick
import QtQuick.Templates as T

// The base of all buttons: the mouse does not change the focus, and Return presses like Space.
T.Button {
    id: button

    focusPolicy: Qt.TabFocus
    font.pixelSize: 13
    hoverEnabled: true

    // Qt tells a screen reader of no disabled state.
    readonly property string unavailable: "Unavailable"

    Accessible.description: enabled ? "" : unavailable
    Accessible.focusable: enabled
    Accessible.name: text
    Accessible.onPressAction: if (enabled)
        button.clicked()

    Keys.onEnterPressed: event => press(event)
    Keys.onReturnPressed: event => press(event)

    // A held key presses once.
    function press(event: KeyEvent): void {
        if (!event.isAutoRepeat)
            button.clicked();
    }
}
