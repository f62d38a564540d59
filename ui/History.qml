import QtQuick
import QtQuick.Templates as T
import Quillon

// The turns, oldest first, and below the last one the current activity.
Item {
    id: history

    required property SessionViewModel session
    required property var suggestions

    signal suggestionChosen(string text)

    // Scrolls to the last turn and the activity below it.
    function showEnd(): void {
        list.followsEnd = true;
        list.isPlacing = true;
        const from = list.contentY;
        motion.stop();
        list.forceLayout();
        list.positionViewAtEnd();
        const end = list.end();
        const isGliding = Theme.motion > 0 && end !== from;
        list.contentY = isGliding ? from : end;
        list.isPlacing = false;
        if (!isGliding)
            return;
        motion.from = from;
        motion.to = end;
        motion.start();
    }

    function scrollBy(distance: real): void {
        motion.stop();
        list.contentY = Math.max(list.start(), Math.min(list.end(), list.contentY + distance));
        list.followsEnd = list.contentY === list.end();
    }

    function scrollByKey(event: KeyEvent): void {
        if (event.key !== Qt.Key_PageUp && event.key !== Qt.Key_PageDown)
            return;
        history.scrollBy((event.key === Qt.Key_PageUp ? -0.9 : 0.9) * list.height);
        event.accepted = true;
    }

    objectName: "history"

    Connections {
        function onIsRunningChanged(): void {
            history.showEnd();
        }

        function onTurnsChanged(): void {
            if (history.session.hasTurns)
                history.showEnd();
        }

        target: history.session
    }

    Suggestions {
        anchors.left: parent.left
        anchors.leftMargin: Theme.margin - 10
        anchors.right: parent.right
        anchors.rightMargin: Theme.margin - 10
        anchors.top: parent.top
        anchors.topMargin: 20
        texts: history.suggestions
        visible: !history.session.hasTurns

        onChosen: text => history.suggestionChosen(text)
    }

    ListView {
        id: list

        // Whether the user has scrolled to the end: it then stays visible while lines are laid out
        // and the window is resized.
        property bool followsEnd: true
        property bool isPlacing: false

        function keepEnd(): void {
            if (followsEnd && !isPlacing)
                history.showEnd();
        }

        function start(): real {
            return originY - topMargin;
        }

        function end(): real {
            return Math.max(start(), originY + contentHeight + bottomMargin - height);
        }

        activeFocusOnTab: true
        anchors.bottom: parent.bottom
        anchors.bottomMargin: live.visible ? live.height + 14 : 0
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        bottomMargin: 20
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        // Dragging an empty area moves the window.
        highlightFollowsCurrentItem: false
        interactive: false
        keyNavigationEnabled: true
        model: history.session.turns
        objectName: "turns"
        reuseItems: true
        spacing: 24
        topMargin: 20
        visible: history.session.hasTurns

        Accessible.name: "History"
        Accessible.role: Accessible.List

        Keys.onPressed: event => {
            if (event.matches(StandardKey.Copy))
                history.session.copyTurn(currentIndex);
            else if (event.key === Qt.Key_Home)
                currentIndex = 0;
            else if (event.key === Qt.Key_End)
                currentIndex = count - 1;
            else
                return;
            event.accepted = true;
        }
        onContentHeightChanged: keepEnd()
        onCountChanged: currentIndex = count - 1
        onHeightChanged: keepEnd()
        onWidthChanged: keepEnd()
        onCurrentIndexChanged: if (activeFocus)
            positionViewAtIndex(currentIndex, ListView.Contain)

        T.ScrollBar.vertical: SlimScrollBar {
            objectName: "historyScrollBar"
        }
        delegate: TurnView {
            objectName: "turn"
            width: ListView.view.width - 2 * Theme.margin
            x: Theme.margin
        }

        NumberAnimation {
            id: motion

            duration: Theme.motion
            easing.type: Easing.OutCubic
            property: "contentY"
            target: list

            // Rows that were created while scrolling may have moved the end.
            onFinished: list.contentY = list.end()
        }

        WheelHandler {
            acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad

            // Three lines for one step of the wheel.
            onWheel: event => history.scrollBy(event.pixelDelta.y !== 0 ? -event.pixelDelta.y : -event.angleDelta.y / 2)
        }
    }

    LiveStatus {
        id: live

        anchors.left: parent.left
        anchors.leftMargin: Theme.margin
        anchors.right: parent.right
        anchors.rightMargin: Theme.margin
        session: history.session
        visible: history.session.isRunning
        // Below the last turn, or at the bottom if that is not visible.
        y: Math.min(list.originY + list.contentHeight - list.contentY + 10, history.height - height - 14)
    }
}
