import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Quillon

// Asks before a risky step and keeps the focus until it is answered.
FocusScope {
    id: card

    required property SessionViewModel session

    // Ignores keys for so many milliseconds, so that a user who is typing does not approve by
    // accident when the card appears.
    property int wait: 400
    property bool isReady: false

    // Approval is only possible after the end of the text has been visible.
    property bool endWasSeen: false
    property int framesWithEnd: 0
    readonly property bool isWindowShown: Window.visibility !== Window.Hidden && Window.visibility !== Window.Minimized
    readonly property bool mustScroll: !endWasSeen && reasonView.contentHeight > reasonView.height + 1

    function allow(): void {
        if (card.isReady)
            card.session.resolve(true);
    }

    function decline(): void {
        card.session.resolve(false);
    }

    function beginAnew(): void {
        card.isReady = false;
        card.endWasSeen = false;
        card.framesWithEnd = 0;
        settling.stop();
        reasonView.contentY = 0;
    }

    // The first frame after a change may have been rendered before it.
    function countFrame(): void {
        const isEndInView = reasonView.height >= Math.min(reason.implicitHeight, lineMetrics.height) && reasonView.contentY + reasonView.height >= reasonView.contentHeight - 1;
        card.framesWithEnd = isEndInView ? card.framesWithEnd + 1 : 0;
        if (card.framesWithEnd < 2) {
            if (isEndInView)
                card.Window.window.update();
            return;
        }
        card.endWasSeen = true;
        settling.restart();
    }

    function scrollBy(distance: real): void {
        reasonView.contentY = Math.max(0, Math.min(reasonView.contentHeight - reasonView.height, reasonView.contentY + distance));
    }

    objectName: "confirmCard"
    visible: session.isPending

    Accessible.description: session.pendingReason
    Accessible.name: "Confirm action"
    Accessible.role: Accessible.Dialog

    Keys.onPressed: event => {
        // Keys do not reach the items behind the card.
        event.accepted = true;
        if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter) {
            if (!event.isAutoRepeat)
                card.allow();
        } else if (event.key === Qt.Key_Escape) {
            card.decline();
        } else if (event.key === Qt.Key_Up || event.key === Qt.Key_Down) {
            card.scrollBy(event.key === Qt.Key_Up ? -20 : 20);
        } else if (event.key === Qt.Key_PageUp || event.key === Qt.Key_PageDown) {
            card.scrollBy(0.9 * (event.key === Qt.Key_PageUp ? -reasonView.height : reasonView.height));
        } else if (event.key === Qt.Key_Home || event.key === Qt.Key_End) {
            card.scrollBy(event.key === Qt.Key_Home ? -reasonView.contentHeight : reasonView.contentHeight);
        } else if (event.text.trim() !== "" && card.isReady) {
            card.isReady = false;
            settling.restart();
        }
    }
    onIsWindowShownChanged: beginAnew()
    onVisibleChanged: {
        beginAnew();
        if (visible)
            face.forceActiveFocus();
    }

    Connections {
        function onFrameSwapped(): void {
            card.countFrame();
        }

        enabled: card.visible && card.isWindowShown && !card.endWasSeen
        target: card.Window.window
    }

    Connections {
        function onPendingChanged(): void {
            card.beginAnew();
        }

        target: card.session
    }

    FontMetrics {
        id: lineMetrics

        font: reason.font
    }

    Timer {
        id: settling

        interval: card.wait

        onTriggered: card.isReady = true
    }

    // Blocks mouse events.
    Rectangle {
        anchors.fill: parent
        color: Theme.scrim

        MouseArea {
            anchors.fill: parent
            hoverEnabled: true

            onWheel: event => event.accepted = true
        }
    }

    Rectangle {
        id: face

        anchors.centerIn: parent
        border.color: Theme.hairline
        color: Theme.raised
        focus: true
        height: content.implicitHeight + 40
        objectName: "confirmFace"
        radius: Theme.cardRadius
        width: Math.min(420, card.width - 2 * Theme.margin)

        KeyNavigation.backtab: allowButton
        KeyNavigation.tab: cancelButton

        Shadow {}

        ColumnLayout {
            id: content

            anchors.left: parent.left
            anchors.margins: 20
            anchors.right: parent.right
            anchors.top: parent.top
            spacing: 12

            RowLayout {
                spacing: 10

                Glyph {
                    Accessible.ignored: true
                    color: Theme.orange
                    implicitHeight: 20
                    implicitWidth: 20
                    name: "exclamationmark.shield.fill"
                    objectName: "confirmSymbol"
                }

                // The reason is what counts.
                PlainText {
                    Layout.fillWidth: true
                    color: Theme.secondary
                    font.pixelSize: 13
                    font.weight: Font.DemiBold
                    objectName: "confirmHeading"
                    text: "Confirm action"

                    Accessible.role: Accessible.Heading
                }
            }

            // A reason may contain a whole script.
            Flickable {
                id: reasonView

                Layout.fillWidth: true
                Layout.preferredHeight: Math.min(reason.implicitHeight, card.height - 180)
                boundsBehavior: Flickable.StopAtBounds
                clip: true
                contentHeight: reason.implicitHeight
                interactive: false
                objectName: "confirmReasonView"

                // Always visible, to show that there is more text.
                T.ScrollBar.vertical: SlimScrollBar {
                    objectName: "confirmScrollBar"
                    stays: true
                }

                WheelHandler {
                    acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad

                    onWheel: event => card.scrollBy(event.pixelDelta.y !== 0 ? -event.pixelDelta.y : -event.angleDelta.y / 2)
                }

                PlainText {
                    id: reason

                    font.pixelSize: 15
                    objectName: "confirmReason"
                    rightPadding: 12
                    text: card.session.pendingReason
                    width: reasonView.width
                }
            }

            RowLayout {
                Layout.topMargin: 4
                spacing: 8

                PlainText {
                    Layout.fillWidth: true
                    color: Theme.secondary
                    font.pixelSize: 12
                    objectName: "confirmHint"
                    opacity: card.mustScroll ? 1 : 0
                    text: "Scroll to the end to allow this."

                    Accessible.ignored: !card.mustScroll
                }

                PushButton {
                    id: cancelButton

                    KeyNavigation.backtab: allowButton
                    KeyNavigation.tab: allowButton
                    objectName: "cancelButton"
                    text: "Cancel"

                    onClicked: card.decline()
                }

                PushButton {
                    id: allowButton

                    enabled: !card.mustScroll
                    KeyNavigation.backtab: cancelButton
                    KeyNavigation.tab: cancelButton
                    objectName: "allowButton"
                    opacity: enabled ? 1 : 0.5
                    prominent: true
                    text: "Allow"

                    onClicked: card.allow()
                }
            }
        }
    }
}
