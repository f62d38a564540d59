import QtQuick
import Quillon

// The surface of popup lists.
Rectangle {
    border.color: Theme.hairline
    color: Theme.raised
    radius: Theme.controlRadius + 2

    Shadow {
        opacity: Theme.dark ? 0.8 : 0.45
    }
}
