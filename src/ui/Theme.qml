pragma Singleton

import QtQuick
import Brindle

// The launcher's colours, fonts and spacings, which follow the desktop.
QtObject {
    Component.onCompleted: SystemStyle.colourTitleBars(window, text)
    onWindowChanged: SystemStyle.colourTitleBars(window, text)
    onTextChanged: SystemStyle.colourTitleBars(window, text)

    // Colours.
    readonly property color white: "#ffffff"
    readonly property color black: "#000000"
    readonly property color window: pick("#f6f6f8", "#1f1f23")
    readonly property color text: pick("#1c1c20", "#f3f3f6")
    readonly property color secondary: pick("#5e5e66", "#a9a9b2")
    readonly property color textOff: pick("#6b6b74", "#9c9ca6")
    readonly property color errorText: pick("#b3261e", "#ff8f87")
    readonly property color link: pick("#1258c4", "#74adff")
    readonly property color selection: mixed(window, accent, 0.3)

    // The desktop's accent colour, or a default, with enough contrast for a fill.
    readonly property color accent: {
        const own = pick("#1663d9", "#2669d6");
        const chosen = SystemStyle.accent.valid ? SystemStyle.accent : own;
        return standingOut(standingOut(chosen, window, 3), sheet, 3);
    }
    // The accent colour for hovered and pressed buttons, farther from the text's colour.
    readonly property color accentHover: mixed(accent, awayFromText, 0.1)
    readonly property color accentDown: mixed(accent, awayFromText, 0.24)
    readonly property color awayFromText: Qt.colorEqual(accentText, white) ? black : white
    // The accent colour as a line or a bar, on the window, a box or a track.
    readonly property color accentLine: standingOut(accent, mixed(window, track, track.a), 4)
    // White, as on most desktops, if large or bold text stays readable.
    readonly property color accentText: contrast(accent, white) >= 3 ? white : black

    // The colours of a sheet, and of the shade on the window below the sheet.
    readonly property color sheet: pick("#fbfbfc", "#28282d")
    readonly property color dim: pick("#66000000", "#99000000")
    // The fill of a box on the window.
    readonly property color box: Qt.alpha(secondary, 0.1)
    // The fill and the edge of a text pane.
    readonly property color pane: Qt.rgba(0, 0, 0, 0.06)
    readonly property color paneEdge: pick("#1f000000", "#4dffffff")
    readonly property color hairline: pick("#1a000000", "#24ffffff")
    readonly property color errorFrame: Qt.alpha(red, 0.5)
    // Fills of quiet controls, slightly darker or lighter than the colour below.
    readonly property color face: Qt.alpha(text, 0.085)
    readonly property color faceHover: Qt.alpha(text, 0.13)
    readonly property color faceDown: Qt.alpha(text, 0.2)
    readonly property color faceOff: Qt.alpha(text, 0.04)
    readonly property color dangerHover: Qt.alpha(red, 0.08)
    readonly property color dangerDown: Qt.alpha(red, 0.13)
    // The chosen segment of a picker, raised out of its track.
    readonly property color track: Qt.alpha(text, 0.09)
    readonly property color chosen: pick("#ffffff", "#5c5c64")
    readonly property color chosenDown: pick("#e8e8ec", "#6d6d76")
    readonly property color chosenEdge: pick("#24000000", "#2effffff")
    readonly property color menu: pick("#ffffff", "#37373e")
    readonly property color thumb: pick("#9c000000", "#80ffffff")

    readonly property color gray: pick("#8e8e93", "#98989d")
    readonly property color orange: pick("#ff9500", "#ff9f0a")
    readonly property color red: pick("#ff3b30", "#ff453a")
    readonly property color green: pick("#28b14c", "#30d158")

    // The sizes are for a default font of 13 pixels, and grow with a larger one.
    readonly property real scale: Math.max(1, SystemStyle.font.pixelSize / 13)
    readonly property int smallestText: 11
    readonly property font largeTitle: sized(26, Font.Bold)
    readonly property font title: sized(22, Font.Bold)
    readonly property font title2: sized(17, Font.Bold)
    readonly property font headline: sized(13, Font.DemiBold)
    readonly property font body: sized(13, Font.Normal)
    readonly property font callout: sized(12, Font.Normal)
    readonly property font caption: sized(smallestText, Font.Normal)
    // With shaping, some fonts turn the x of "1280x720" into a multiplication sign.
    readonly property font segment: Qt.font({
        "family": SystemStyle.font.family,
        "pixelSize": caption.pixelSize,
        "weight": Font.Medium,
        "preferShaping": false
    })
    // The smallest text size. Grows if the default font has more than 15 pixels (11 points).
    readonly property font monospaced: Qt.font({
        "family": SystemStyle.monospacedFamily,
        "pixelSize": Math.round(smallestText * Math.max(1, SystemStyle.font.pixelSize / 15))
    })

    property bool still: SystemStyle.still
    // The duration of an animation in milliseconds.
    readonly property int duration: still ? 0 : 160

    // Spacings.
    readonly property int buttonHeight: Math.round(26 * scale)
    readonly property int buttonRadius: 7
    readonly property int buttonSpacing: 8
    readonly property int sheetRadius: 12
    readonly property int boxRadius: 10

    function pick(light: string, dark: string): color {
        return Qt.color(SystemStyle.dark ? dark : light);
    }

    function sized(pixels: real, weight: int): font {
        return Qt.font({
            "family": SystemStyle.font.family,
            "pixelSize": Math.round(pixels * scale),
            "weight": weight
        });
    }

    // Returns an opaque mix of two colours, with `share` of the second.
    function mixed(colour: color, other: color, share: real): color {
        const mix = (a, b) => a + (b - a) * share;
        return Qt.rgba(mix(colour.r, other.r), mix(colour.g, other.g), mix(colour.b, other.b));
    }

    // Moves a colour towards the text's colour until the contrast is enough.
    function standingOut(colour: color, below: color, least: real): color {
        let seen = mixed(colour, colour, 0);
        for (let step = 1; contrast(seen, below) < least && step <= 20; ++step)
            seen = mixed(colour, text, step / 20);
        return seen;
    }

    // Returns the contrast of two colours, from 1 to 21: https://www.w3.org/TR/WCAG21/#dfn-contrast-ratio
    function contrast(a: color, b: color): real {
        const linear = c => c <= 0.04045 ? c / 12.92 : Math.pow((c + 0.055) / 1.055, 2.4);
        const luminance = c => 0.2126 * linear(c.r) + 0.7152 * linear(c.g) + 0.0722 * linear(c.b);
        const both = [luminance(a), luminance(b)];
        return (Math.max(...both) + 0.05) / (Math.min(...both) + 0.05);
    }
}
