#pragma once

#include <QString>

/// The AT-SPI roles that we use, with the protocol's numbers.
enum class AtSpiRole : quint32 {
    unknown = 0,
    checkBox = 7,
    checkMenuItem = 8,
    comboBox = 11,
    dialog = 16,
    frame = 23,
    image = 27,
    internalFrame = 28,
    label = 29,
    list = 31,
    menu = 33,
    menuBar = 34,
    menuItem = 35,
    pageTab = 37,
    pageTabList = 38,
    passwordText = 40,
    popupMenu = 41,
    pushButton = 43,
    radioButton = 44,
    radioMenuItem = 45,
    spinButton = 52,
    table = 55,
    tearOffMenuItem = 59,
    text = 61,
    toggleButton = 62,
    toolBar = 63,
    tree = 65,
    treeTable = 66,
    window = 69,
    application = 75,
    autocomplete = 76,
    entry = 79,
    caption = 81,
    documentFrame = 82,
    heading = 83,
    link = 88,
    spreadsheet = 92,
    presentation = 93,
    textDocument = 94,
    webDocument = 95,
    emailDocument = 96,
    listBox = 98,
    staticText = 116,
    menuButton = 129,
};

namespace AtSpiRoles {
/// The name of the role on macOS; "AXGroup" if nothing else fits.
[[nodiscard]] QString axName(AtSpiRole role, bool liesInMenuBar);

/// Menus have their items also while they are closed.
[[nodiscard]] bool isPartOfMenu(AtSpiRole role);

/// Whether only one of several such elements is visible at a time, so that one that is not showing
/// is a background tab or window.
[[nodiscard]] bool isWholePage(AtSpiRole role);

[[nodiscard]] bool isWindow(AtSpiRole role);

/// Whether an element of that role has a text that may be read; a password must not.
[[nodiscard]] bool showsText(AtSpiRole role);
} // namespace AtSpiRoles
