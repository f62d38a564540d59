#include "platform/linux/atspi/AtSpiRole.h"

using namespace Qt::StringLiterals;

QString AtSpiRoles::axName(AtSpiRole role, bool liesInMenuBar)
{
    switch (role) {
    case AtSpiRole::pushButton:
    case AtSpiRole::toggleButton:
        return u"AXButton"_s;
    case AtSpiRole::checkBox:
        return u"AXCheckBox"_s;
    case AtSpiRole::radioButton:
        return u"AXRadioButton"_s;
    case AtSpiRole::comboBox:
    case AtSpiRole::menuButton:
        return u"AXPopUpButton"_s;
    case AtSpiRole::link:
        return u"AXLink"_s;
    case AtSpiRole::pageTab:
        return u"AXTab"_s;
    case AtSpiRole::menu:
    case AtSpiRole::menuItem:
        // A submenu is an item of the surrounding menu.
        return liesInMenuBar ? u"AXMenuBarItem"_s : u"AXMenuItem"_s;
    case AtSpiRole::checkMenuItem:
    case AtSpiRole::radioMenuItem:
    case AtSpiRole::tearOffMenuItem:
        return u"AXMenuItem"_s;
    case AtSpiRole::text:
    case AtSpiRole::entry:
    case AtSpiRole::passwordText:
    case AtSpiRole::spinButton:
    case AtSpiRole::autocomplete:
        return u"AXTextField"_s;
    case AtSpiRole::label:
    case AtSpiRole::staticText:
    case AtSpiRole::caption:
        return u"AXStaticText"_s;
    case AtSpiRole::menuBar:
        return u"AXMenuBar"_s;
    case AtSpiRole::popupMenu:
        return u"AXMenu"_s;
    case AtSpiRole::application:
        return u"AXApplication"_s;
    case AtSpiRole::frame:
    case AtSpiRole::dialog:
    case AtSpiRole::window:
        return u"AXWindow"_s;
    case AtSpiRole::toolBar:
        return u"AXToolbar"_s;
    case AtSpiRole::image:
        return u"AXImage"_s;
    case AtSpiRole::list:
    case AtSpiRole::listBox:
        return u"AXList"_s;
    case AtSpiRole::table:
        return u"AXTable"_s;
    case AtSpiRole::tree:
    case AtSpiRole::treeTable:
        return u"AXOutline"_s;
    case AtSpiRole::pageTabList:
        return u"AXTabGroup"_s;
    case AtSpiRole::heading:
        return u"AXHeading"_s;
    case AtSpiRole::webDocument:
        return u"AXWebArea"_s;
    case AtSpiRole::internalFrame:
    case AtSpiRole::documentFrame:
    case AtSpiRole::spreadsheet:
    case AtSpiRole::presentation:
    case AtSpiRole::textDocument:
    case AtSpiRole::emailDocument:
    case AtSpiRole::unknown:
        break;
    }
    return u"AXGroup"_s;
}

bool AtSpiRoles::isPartOfMenu(AtSpiRole role)
{
    return role == AtSpiRole::menu || role == AtSpiRole::menuItem ||
           role == AtSpiRole::checkMenuItem || role == AtSpiRole::radioMenuItem ||
           role == AtSpiRole::tearOffMenuItem || role == AtSpiRole::popupMenu;
}

bool AtSpiRoles::isWholePage(AtSpiRole role)
{
    return role == AtSpiRole::frame || role == AtSpiRole::internalFrame ||
           role == AtSpiRole::documentFrame || role == AtSpiRole::spreadsheet ||
           role == AtSpiRole::presentation || role == AtSpiRole::textDocument ||
           role == AtSpiRole::webDocument || role == AtSpiRole::emailDocument;
}

bool AtSpiRoles::isWindow(AtSpiRole role)
{
    return role == AtSpiRole::frame || role == AtSpiRole::dialog || role == AtSpiRole::window ||
           role == AtSpiRole::application;
}

// Without passwordText, so that the content of a password field is never read.
bool AtSpiRoles::showsText(AtSpiRole role)
{
    return role == AtSpiRole::text || role == AtSpiRole::entry || role == AtSpiRole::spinButton ||
           role == AtSpiRole::autocomplete || role == AtSpiRole::label ||
           role == AtSpiRole::staticText || role == AtSpiRole::caption;
}
