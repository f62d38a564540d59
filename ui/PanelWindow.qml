import QtQuick
import Quillon

Window {
    id: window

    required property ModelsViewModel models
    required property Panel panel
    required property SessionViewModel session

    // Whether the application draws frame, corners and background.
    property bool frameless: false
    readonly property int usualHeight: 620

    function readFlags(): void {
        frameless = (flags & Qt.FramelessWindowHint) !== 0;
    }

    color: "transparent"
    height: usualHeight
    minimumHeight: 460
    minimumWidth: 640
    title: "Quillon"
    width: 720

    Component.onCompleted: readFlags()
    onVisibleChanged: readFlags()

    // Whether the panel and its shadow fit on the screen beside the desktop's bars. Otherwise, some
    // window managers move the panel down until all of the margin is visible, and the footer is not.
    readonly property bool hasRoomForShadow: Screen.height >= usualHeight + 2 * Theme.shadowMargin + 64

    // The space of the shadow. A window that fills the screen has none.
    Binding {
        property: "margin"
        target: window.panel
        value: window.frameless && window.panel.wantsDrawnShadow && window.hasRoomForShadow && (window.visibility === Window.Windowed || window.visibility === Window.Hidden) ? Theme.shadowMargin : 0
    }

    Binding {
        property: "dark"
        target: Theme
        value: window.panel.darkMode
    }

    Binding {
        property: "reducedMotion"
        target: Theme
        value: window.panel.reducedMotion
    }

    Binding {
        property: "systemAccent"
        target: Theme
        value: window.panel.accentColor
        when: window.panel.accentColor.valid
    }

    Shortcut {
        sequence: "Ctrl+K"

        onActivated: window.session.clearHistory()
    }

    Shortcut {
        enabled: window.session.isRunning
        sequence: "Ctrl+."

        onActivated: window.session.stop()
    }

    Shortcut {
        sequence: "Ctrl+Q"

        onActivated: Qt.quit()
    }

    Announcement {
        id: announcement

        objectName: "announcement"
        panel: window.panel
        session: window.session

        Accessible.name: text
        Accessible.role: Accessible.Notification
    }

    // What the user sees.
    Item {
        id: frame

        anchors.fill: parent
        anchors.margins: window.panel.margin
        objectName: "frame"

        Shadow {
            objectName: "windowShadow"
            visible: window.panel.margin > 0
        }

        Rectangle {
            id: background

            // Without a compositor, translucent pixels are black, also those of round corners. The
            // background is translucent only with blur, because texts behind it would mix with ours.
            readonly property bool isRound: window.frameless && window.panel.composited && window.visibility === Window.Windowed

            anchors.fill: parent
            objectName: "background"
            color: Qt.alpha(Theme.surface, !window.panel.blursBehind ? 1 : window.frameless ? Theme.translucency : 0)
            radius: isRound ? Theme.windowRadius : 0

            Loader {
                id: mover

                // If the system moves the window, it may consume the release of the button, and a
                // handler that waits for it accepts no further drag. Disabling the handler ends its
                // grab.
                function renew() {
                    active = false;
                    active = true;
                }

                anchors.fill: parent
                objectName: "mover"

                sourceComponent: Item {
                    DragHandler {
                        target: null

                        onActiveChanged: if (active) {
                            window.startSystemMove(); // qmllint disable unqualified
                            Qt.callLater(mover.renew);
                        }
                    }
                }
            }
        }

        ContentView {
            anchors.fill: parent
            models: window.models
            panel: window.panel
            session: window.session
        }

        Rectangle {
            anchors.fill: parent
            border.color: Theme.innerHairline
            objectName: "windowHairline"
            color: "transparent"
            radius: background.radius
            visible: window.frameless
        }

        WindowControls {
            anchors.right: parent.right
            anchors.rightMargin: 10
            anchors.top: parent.top
            anchors.topMargin: 8
            panel: window.panel
            visible: window.frameless
        }

        WindowEdges {
            anchors.fill: parent
            objectName: "windowEdges"
            visible: window.frameless
            window: window
        }
    }
}
