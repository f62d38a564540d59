import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Quillon

RowLayout {
    id: bar

    required property CommandInput input
    required property SessionViewModel session

    function focusField(): void {
        field.forceActiveFocus();
    }

    spacing: 14

    Glyph {
        color: Theme.accent
        implicitHeight: 24
        implicitWidth: 24
        name: "sparkle"
        objectName: "sparkle"

        Accessible.ignored: true
    }

    T.TextField {
        id: field

        Layout.fillWidth: true
        color: Theme.primary
        // The confirm card has the focus.
        enabled: !bar.session.isPending
        focus: true
        font.pixelSize: 22
        implicitHeight: 32
        // A text is never truncated silently: the session accepts it as a whole or not at all.
        maximumLength: 0x7fffffff
        objectName: "commandField"
        placeholderText: "Tell your Mac what to do…"
        selectByMouse: true
        selectedTextColor: Theme.primary
        selectionColor: Theme.selection
        text: bar.input.text
        verticalAlignment: TextInput.AlignVCenter

        Accessible.name: placeholderText
        Accessible.role: Accessible.EditableText

        Keys.onDownPressed: bar.input.recallLater()
        Keys.onPressed: event => {
            // The field itself would drop line ends and so join words.
            event.accepted = event.matches(StandardKey.Paste);
            if (event.accepted)
                field.pasteText(bar.input.clipboardLine());
        }
        Keys.onUpPressed: bar.input.recallEarlier()
        onAccepted: bar.input.send()
        onTextEdited: bar.input.text = text

        DropArea {
            anchors.fill: parent
            objectName: "dropArea"

            onDropped: drop => {
                const paths = bar.input.droppedPaths(drop.urls);
                if (paths === "")
                    return;
                const apart = field.length > 0 && !field.text.endsWith(" ") ? " " : "";
                field.cursorPosition = field.length;
                field.pasteText(apart + paths);
                field.forceActiveFocus();
                drop.acceptProposedAction();
            }
        }

        function pasteText(pasted: string): void {
            field.remove(field.selectionStart, field.selectionEnd);
            field.insert(field.cursorPosition, pasted);
            bar.input.text = field.text;
        }

        // Whether a long text extends beyond the edge.
        property bool goesOnLeft: false
        property bool goesOnRight: false

        function lookBeyond(): void {
            goesOnLeft = field.positionToRectangle(0).x < -1;
            goesOnRight = field.positionToRectangle(field.length).x > field.width + 1;
        }

        onCursorRectangleChanged: lookBeyond()
        onTextChanged: lookBeyond()
        onWidthChanged: lookBeyond()

        FadedEdge {
            anchors.left: parent.left
            isLeft: true
            objectName: "fadeLeft"
            visible: field.goesOnLeft
        }

        FadedEdge {
            anchors.right: parent.right
            objectName: "fadeRight"
            visible: field.goesOnRight
        }

        PlainText {
            Accessible.ignored: true
            anchors.fill: parent
            // Next to the text cursor.
            anchors.leftMargin: 3
            color: Theme.tertiary
            elide: Text.ElideRight
            font: field.font
            objectName: "placeholder"
            text: field.placeholderText
            verticalAlignment: Text.AlignVCenter
            visible: field.length === 0 && field.preeditText === ""
            wrapMode: Text.NoWrap
        }
    }

    IconButton {
        color: enabled ? Theme.accent : Theme.tertiary
        enabled: !bar.session.isStopping
        glyphSize: 26
        help: "Stop"
        objectName: "stopButton"
        opacity: enabled ? 1 : 0.5
        symbol: "stop.circle.fill"
        text: "Stop"
        visible: bar.session.isRunning

        onClicked: {
            bar.session.stop();
            bar.focusField();
        }
    }

    IconButton {
        color: enabled ? Theme.accent : Theme.tertiary
        enabled: bar.input.canSend
        glyphSize: 26
        objectName: "sendButton"
        opacity: enabled ? 1 : 0.5
        symbol: "arrow.up.circle.fill"
        text: "Send"
        visible: !bar.session.isRunning

        onClicked: {
            bar.input.send();
            bar.focusField();
        }
    }
}
