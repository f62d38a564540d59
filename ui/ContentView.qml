import QtQuick
import QtQuick.Layouts
import Quillon

// The contents of the panel, from the command bar to the footer.
FocusScope {
    id: content

    required property ModelsViewModel models
    required property Panel panel
    required property SessionViewModel session

    function focusField(): void {
        if (session.isPending)
            card.forceActiveFocus();
        else
            bar.focusField();
    }

    // The focused item; null if that item was destroyed.
    readonly property Item focusItem: Window.activeFocusItem

    focus: true

    // Not before: a program that is started at login takes no memory for a panel that is not used.
    readonly property bool hasAppeared: Window.visibility !== Window.Hidden

    Component.onCompleted: focusField()
    onHasAppearedChanged: if (hasAppeared)
        models.loadIfNeeded()
    // The key that answered the card may still be held, so its repetitions are ignored.
    Keys.onEscapePressed: event => {
        if (!event.isAutoRepeat)
            content.panel.hide();
    }
    Keys.onPressed: event => {
        if (history.item)
            (history.item as History).scrollByKey(event);
    }

    // The focused item was destroyed with what a loader had loaded, or it went otherwise.
    readonly property bool hasLostFocus: focusItem === content || focusItem === Window.contentItem || focusItem instanceof Loader

    Timer {
        interval: 0
        running: content.hasLostFocus

        onTriggered: content.focusField()
    }

    CommandInput {
        id: command

        models: content.models
        session: content.session
    }

    Connections {
        function onSummonPalette(): void {
            content.focusField();
        }

        target: content.panel
    }

    Connections {
        function onPendingChanged(): void {
            content.focusField();
        }

        target: content.session
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        CommandBar {
            id: bar

            Layout.bottomMargin: 18
            Layout.fillWidth: true
            Layout.leftMargin: 22
            Layout.rightMargin: 22
            Layout.topMargin: 34
            input: command
            session: content.session
        }

        Rectangle {
            Layout.fillWidth: true
            color: Theme.separator
            implicitHeight: 1
            objectName: "divider"
            opacity: 0.4
        }

        Item {
            id: centre

            // The history remains visible while another model is loaded.
            readonly property bool showsHistory: content.models.isLoaded || content.session.hasTurns

            function fillIn(text: string): void {
                command.text = text;
                bar.focusField();
            }

            Layout.fillHeight: true
            Layout.fillWidth: true

            SetUpCard {
                anchors.fill: parent
                enabled: visible
                models: content.models
                suggestions: command.suggestions
                visible: !centre.showsHistory

                onSuggestionChosen: text => centre.fillIn(text)
            }

            Loader {
                id: strip

                active: centre.showsHistory && !content.models.isLoaded
                anchors.bottom: parent.bottom
                anchors.left: parent.left
                anchors.right: parent.right
                // The pragma that binds a component to its file came with Qt 6.5.
                sourceComponent: SetUpStrip {
                    models: content.models // qmllint disable unqualified
                }
            }

            // Not before it is needed: at the start, the card is shown.
            Loader {
                id: history

                active: centre.showsHistory
                anchors.bottomMargin: strip.active ? strip.height : 0
                anchors.fill: parent
                sourceComponent: History {
                    session: content.session // qmllint disable unqualified
                    suggestions: command.suggestions // qmllint disable unqualified

                    onSuggestionChosen: text => centre.fillIn(text) // qmllint disable unqualified
                }
            }

            ConfirmCard {
                id: card

                anchors.fill: parent
                session: content.session
            }
        }

        Loader {
            Layout.fillWidth: true
            active: content.panel.keyOffer.text !== ""
            // Qt 6.4 cannot create it here as a bound component, which would be qualified.
            sourceComponent: KeyNotice {
                offer: content.panel.keyOffer // qmllint disable unqualified
            }
            visible: active
        }

        Footer {
            Layout.bottomMargin: 8
            Layout.fillWidth: true
            Layout.leftMargin: 22
            Layout.rightMargin: 22
            Layout.topMargin: 8
            models: content.models
            panel: content.panel
        }
    }
}
