#include "platform/linux/AtSpiRole.h"

QString AtSpiRoles::axName(AtSpiRole role, bool liesInMenuBar)
{
    switch (role) {
    case AtSpiRole::pushButton:
    case AtSpiRole::toggleButton:
        return QStringLiteral("AXButton");
    case AtSpiRole::checkBox:
        return QStringLiteral("AXCheckBox");
    case AtSpiRole::radioButton:
        return QStringLiteral("AXRadioButton");
    case AtSpiRole::comboBox:
    case AtSpiRole::menuButton:
        return QStringLiteral("AXPopUpButton");
    case AtSpiRole::link:
        return QStringLiteral("AXLink");
    case AtSpiRole::pageTab:
        return QStringLiteral("AXTab");
    case AtSpiRole::menu:
    case AtSpiRole::menuItem:
        // A submenu is an item of the menu that it lies in.
        return liesInMenuBar ? QStringLiteral("AXMenuBarItem") : QStringLiteral("AXMenuItem");
    case AtSpiRole::checkMenuItem:
    case AtSpiRole::radioMenuItem:
    case AtSpiRole::tearOffMenuItem:
        return QStringLiteral("AXMenuItem");
    case AtSpiRole::text:
    case AtSpiRole::entry:
    case AtSpiRole::passwordText:
    case AtSpiRole::spinButton:
    case AtSpiRole::autocomplete:
        return QStringLiteral("AXTextField");
    case AtSpiRole::label:
    case AtSpiRole::staticText:
    case AtSpiRole::caption:
        return QStringLiteral("AXStaticText");
    case AtSpiRole::menuBar:
        return QStringLiteral("AXMenuBar");
    case AtSpiRole::popupMenu:
        return QStringLiteral("AXMenu");
    case AtSpiRole::application:
        return QStringLiteral("AXApplication");
    case AtSpiRole::frame:
    case AtSpiRole::dialog:
    case AtSpiRole::window:
        return QStringLiteral("AXWindow");
    case AtSpiRole::toolBar:
        return QStringLiteral("AXToolbar");
    case AtSpiRole::image:
        return QStringLiteral("AXImage");
    case AtSpiRole::list:
    case AtSpiRole::listBox:
        return QStringLiteral("AXList");
    case AtSpiRole::table:
        return QStringLiteral("AXTable");
    case AtSpiRole::tree:
    case AtSpiRole::treeTable:
        return QStringLiteral("AXOutline");
    case AtSpiRole::pageTabList:
        return QStringLiteral("AXTabGroup");
    case AtSpiRole::heading:
        return QStringLiteral("AXHeading");
    case AtSpiRole::webDocument:
        return QStringLiteral("AXWebArea");
    case AtSpiRole::unknown:
        break;
    }
    return QStringLiteral("AXGroup");
}

bool AtSpiRoles::isPartOfMenu(AtSpiRole role)
{
    return role == AtSpiRole::menu || role == AtSpiRole::menuItem ||
           role == AtSpiRole::checkMenuItem || role == AtSpiRole::radioMenuItem ||
           role == AtSpiRole::tearOffMenuItem || role == AtSpiRole::popupMenu;
}

bool AtSpiRoles::showsText(AtSpiRole role)
{
    return role == AtSpiRole::text || role == AtSpiRole::entry || role == AtSpiRole::spinButton ||
           role == AtSpiRole::autocomplete || role == AtSpiRole::label ||
           role == AtSpiRole::staticText || role == AtSpiRole::caption;
}
