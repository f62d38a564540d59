pragma Singleton

import QtQuick
import Quillon

// Colours, fonts and sizes. Sizes are multiples of 4 unless they are given otherwise. All text
// colours have a contrast of at least 4.5 on the surface, whatever is behind it, and glyphs one of
// 3.
QtObject {
    id: theme

    // The desktop's settings.
    property bool dark: false
    property bool reducedMotion: false
    property color systemAccent: systemPalette.highlight

    // Surfaces. The window's surface is slightly translucent if the desktop supports that.
    readonly property real translucency: 0.94
    readonly property color surface: dark ? "#1e1e20" : "#f7f7f9"
    readonly property color raised: dark ? "#2b2b2e" : "#ffffff"
    readonly property color hairline: dark ? "#26ffffff" : "#1f000000"
    readonly property color innerHairline: dark ? "#2effffff" : "#33000000"
    readonly property color separator: dark ? "#73ffffff" : "#66000000"
    readonly property color scrim: dark ? "#73000000" : "#33000000"
    readonly property color hover: dark ? "#14ffffff" : "#0d000000"
    readonly property color pressed: dark ? "#24ffffff" : "#1a000000"
    readonly property color control: dark ? "#1fffffff" : "#ffffff"
    readonly property color track: dark ? "#33ffffff" : "#1f000000"

    // Text and glyphs.
    readonly property color primary: dark ? "#f5f5f7" : "#1d1d1f"
    readonly property color secondary: dark ? "#b4b4ba" : "#56565c"
    readonly property color tertiary: dark ? "#a8a8af" : "#5f5f65"
    readonly property color red: dark ? "#ff857e" : "#bd1a22"
    readonly property color green: dark ? "#32d15b" : "#1f8a3b"
    readonly property color orange: dark ? "#ff9f0a" : "#b85d00"

    // The accent colour: as a fill behind white text, as text, and as a glyph or a ring.
    readonly property color accentInk: "#ffffff"
    readonly property color accentFill: Contrast.legible(systemAccent, accentInk, 4.5)
    readonly property color accentText: Contrast.legible(systemAccent, worstSurface, 4.5)
    readonly property color accent: Contrast.legible(systemAccent, worstSurface, 3)
    readonly property color selection: Contrast.over(Qt.alpha(systemAccent, dark ? 0.3 : 0.28), surface)

    // The surface under the mouse, over the least favourable background.
    readonly property color worstSurface: Contrast.over(hover, Contrast.over(Qt.alpha(surface, translucency), dark ? "#ffffff" : "#000000"))

    readonly property int margin: 22
    readonly property int windowRadius: 14
    readonly property int shadowMargin: 44
    readonly property int cardRadius: 12
    readonly property int controlRadius: 8
    readonly property int motion: reducedMotion ? 0 : 160
    readonly property string fixedFamily: ThemeFonts.fixedFamily

    readonly property SystemPalette systemPalette: SystemPalette {}

    function roleColor(value: int): color {
        switch (value) {
        case ColorRole.Primary:
            return theme.primary;
        case ColorRole.Red:
            return theme.red;
        case ColorRole.Green:
            return theme.green;
        case ColorRole.Orange:
            return theme.orange;
        default:
            return theme.secondary;
        }
    }
}
