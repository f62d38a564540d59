import QtQuick
import Quillon

// Shown until a model is loaded or there is a history.
Item {
    id: card

    required property ModelsViewModel models
    required property var suggestions

    signal suggestionChosen(string text)

    // With this, a failure has two lines in the smallest window.
    readonly property bool isCompact: height < 380

    objectName: "setUpCard"

    FontMetrics {
        id: lines

        font: failure.font
    }

    Column {
        id: parts

        readonly property real failureY: picker.y + picker.height + spacing

        anchors.centerIn: parent
        spacing: 16
        width: Math.min(parent.width - 60, 460)

        Glyph {
            anchors.horizontalCenter: parent.horizontalCenter
            color: Theme.accent
            height: width
            name: "cpu"
            objectName: "setUpSymbol"
            width: card.isCompact ? 32 : 48

            Accessible.ignored: true
        }

        PlainText {
            font.pixelSize: 20
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            objectName: "setUpTitle"
            text: "Set up your private AI"
            width: parent.width

            Accessible.role: Accessible.Heading
        }

        PlainText {
            color: Theme.secondary
            horizontalAlignment: Text.AlignHCenter
            lineHeight: card.isCompact ? 1 : 1.2
            objectName: "setUpExplanation"
            text: "Quillon runs a language model entirely on your Mac. The one-time download is stored locally; nothing you type ever leaves this device."
            width: parent.width
        }

        ModelPicker {
            id: picker

            anchors.horizontalCenter: parent.horizontalCenter
            models: card.models
        }

        // The possible action or the running one. The items above do not move when it changes: its
        // height is that of the button, and in a small window that of the largest item.
        Item {
            height: card.isCompact ? Math.max(70, failed.height) : 32
            objectName: "setUpElement"
            width: parent.width

            PushButton {
                anchors.horizontalCenter: parent.horizontalCenter
                objectName: "downloadButton"
                prominent: true
                text: "Download " + card.models.selectedName
                visible: card.models.state === ModelsViewModel.NeedsDownload

                onClicked: card.models.download()
            }

            Column {
                anchors.horizontalCenter: parent.horizontalCenter
                spacing: 8
                visible: card.models.state === ModelsViewModel.Downloading

                ProgressLine {
                    objectName: "downloadProgress"
                    value: card.models.progress
                    width: 300

                    Accessible.name: "Download"
                }

                PlainText {
                    color: Theme.secondary
                    horizontalAlignment: Text.AlignHCenter
                    objectName: "downloadProgressText"
                    text: card.models.progressText
                    width: parent.width
                }

                PushButton {
                    anchors.horizontalCenter: parent.horizontalCenter
                    objectName: "cancelDownloadButton"
                    text: "Cancel"

                    onClicked: card.models.cancelDownload()
                }
            }

            Column {
                id: failed

                spacing: 8
                visible: card.models.state === ModelsViewModel.Failed
                width: parent.width

                Row {
                    anchors.horizontalCenter: parent.horizontalCenter
                    spacing: 8

                    Glyph {
                        anchors.verticalCenter: parent.verticalCenter
                        color: Theme.red
                        height: 14
                        name: "xmark.circle.fill"
                        width: 14

                        Accessible.ignored: true
                    }

                    PlainText {
                        id: failure

                        // The free space between the picker and the button. In a small window, the
                        // card's items are centred with the message.
                        readonly property real edge: Math.max(30, manualDownload.height + manualDownload.anchors.bottomMargin + 5)
                        readonly property real room: card.isCompact ? card.height - 2 * edge - picker.y - picker.height - parts.spacing - 8 - tryAgain.height : manualDownload.y - parts.y - parts.failureY - tryAgain.height - 16

                        elide: Text.ElideRight
                        maximumLineCount: Math.max(1, Math.min(5, Math.floor(room / lines.lineSpacing)))
                        objectName: "failureMessage"
                        text: card.models.message
                        width: Math.min(implicitWidth, card.width - 60 - 22, 438)
                    }
                }

                PushButton {
                    id: tryAgain

                    anchors.horizontalCenter: parent.horizontalCenter
                    objectName: "tryAgainButton"
                    text: "Try again"

                    onClicked: card.models.tryAgain()
                }
            }

            Row {
                anchors.horizontalCenter: parent.horizontalCenter
                height: 32
                spacing: 8
                visible: card.models.state === ModelsViewModel.Ready || card.models.state === ModelsViewModel.Loading

                Spinner {
                    anchors.verticalCenter: parent.verticalCenter
                }

                PlainText {
                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.secondary
                    objectName: "loadingText"
                    text: "Loading model…"
                }
            }
        }
    }

    // Something to read and to choose while it takes minutes. At the bottom, so that it moves
    // nothing.
    Grid {
        id: examples

        readonly property bool isWaiting: card.models.state === ModelsViewModel.Downloading || card.models.state === ModelsViewModel.Ready || card.models.state === ModelsViewModel.Loading

        anchors.bottom: parent.bottom
        anchors.bottomMargin: 10
        anchors.horizontalCenter: parent.horizontalCenter
        columns: 2
        columnSpacing: 4
        objectName: "setUpSuggestions"
        visible: isWaiting && y >= parts.y + parts.height + 40 && width <= card.width

        Repeater {
            model: examples.isWaiting ? card.suggestions : []

            delegate: SuggestionRow {
                id: row

                required property int index
                required property string modelData

                font.pixelSize: 11
                implicitHeight: 28
                objectName: "setUpSuggestion" + index
                symbolSize: 12
                text: modelData

                onClicked: (row.parent.parent as SetUpCard).suggestionChosen(text)
            }
        }
    }

    // At the bottom, so that it moves nothing.
    Loader {
        id: manualDownload

        active: card.models.state === ModelsViewModel.Failed
        anchors.bottom: parent.bottom
        // Below a failure of one line.
        anchors.bottomMargin: card.isCompact ? 6 : Math.max(6, Math.min(30, parent.height - height - parts.y - parts.failureY - lines.lineSpacing - tryAgain.height - 16))
        anchors.horizontalCenter: parent.horizontalCenter
        // The pragma that binds a component to its file came with Qt 6.5.
        sourceComponent: SelectableText {
            color: Theme.secondary
            font.pixelSize: 11
            horizontalAlignment: TextEdit.AlignHCenter
            objectName: "manualDownload"
            text: card.models.manualDownload // qmllint disable unqualified
        }
        width: parent.width - 60
    }
}
