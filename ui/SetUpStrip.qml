import QtQuick
import Quillon

// Replaces the set-up card while the history is shown.
Item {
    id: strip

    required property ModelsViewModel models

    readonly property bool isLoading: models.state === ModelsViewModel.Ready || models.state === ModelsViewModel.Loading

    function sentence(): string {
        switch (strip.models.state) {
        case ModelsViewModel.NeedsDownload:
            return "Not on this device yet";
        case ModelsViewModel.Downloading:
            return strip.models.progressText;
        case ModelsViewModel.Failed:
            return strip.models.message;
        default:
            return strip.isLoading ? "Loading model…" : "";
        }
    }

    implicitHeight: Math.max(44, label.implicitHeight + 16)
    objectName: "setUpStrip"

    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        color: Theme.separator
        height: 1
        opacity: 0.4
    }

    Row {
        id: lead

        anchors.verticalCenter: parent.verticalCenter
        spacing: 8
        x: Theme.margin

        Glyph {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.red
            height: 14
            name: "xmark.circle.fill"
            visible: strip.models.state === ModelsViewModel.Failed
            width: 14

            Accessible.ignored: true
        }

        Spinner {
            anchors.verticalCenter: parent.verticalCenter
            visible: strip.isLoading
        }

        ProgressLine {
            anchors.verticalCenter: parent.verticalCenter
            objectName: "stripProgress"
            value: strip.models.progress
            visible: strip.models.state === ModelsViewModel.Downloading
            width: 160

            Accessible.name: "Download"
        }

        PlainText {
            id: label

            anchors.verticalCenter: parent.verticalCenter
            color: Theme.secondary
            elide: Text.ElideRight
            maximumLineCount: 2
            objectName: "stripText"
            text: strip.sentence()
            width: Math.min(implicitWidth, buttons.x - 12 - lead.x - x)
        }
    }

    Row {
        id: buttons

        anchors.right: parent.right
        // Aligns the visible symbol, not the edge of the clickable area.
        anchors.rightMargin: Theme.margin - 6
        anchors.verticalCenter: parent.verticalCenter
        spacing: 8

        PushButton {
            implicitHeight: 28
            objectName: "stripDownloadButton"
            prominent: true
            text: "Download " + strip.models.selectedName
            visible: strip.models.state === ModelsViewModel.NeedsDownload

            onClicked: strip.models.download()
        }

        PushButton {
            implicitHeight: 28
            objectName: "stripCancelButton"
            text: "Cancel"
            visible: strip.models.state === ModelsViewModel.Downloading

            onClicked: strip.models.cancelDownload()
        }

        PushButton {
            implicitHeight: 28
            objectName: "stripTryAgainButton"
            text: "Try again"
            visible: strip.models.state === ModelsViewModel.Failed

            onClicked: strip.models.tryAgain()
        }

        // The footer has it while a model is loaded.
        ModelMenu {
            anchors.verticalCenter: parent.verticalCenter
            models: strip.models
            objectName: "stripModelMenuButton"
        }
    }
}
