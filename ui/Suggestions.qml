import QtQuick
import Quillon

// Shown while there is no history.
Column {
    id: list

    required property var texts

    signal chosen(string text)

    objectName: "suggestions"
    spacing: 2

    PlainText {
        bottomPadding: 6
        color: Theme.secondary
        font.weight: Font.DemiBold
        objectName: "suggestionsHeading"
        text: "Try"
        x: 10

        Accessible.role: Accessible.Heading
    }

    Repeater {
        model: list.texts

        delegate: SuggestionRow {
            id: row

            required property int index
            required property string modelData

            objectName: "suggestion" + index
            text: modelData
            width: parent ? parent.width : 0

            onClicked: (row.parent as Suggestions).chosen(text)
        }
    }
}
