#include "app/EditMenu.h"

#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

#include <array>

using namespace Qt::StringLiterals;

namespace {
struct TextItem
{
    const char16_t *title;
    char16_t key; ///< upper case if it is typed with Shift
};
constexpr std::array textItems{TextItem{u"Undo", u'z'},  TextItem{u"Redo", u'Z'},
                               TextItem{u"Cut", u'x'},   TextItem{u"Copy", u'c'},
                               TextItem{u"Paste", u'v'}, TextItem{u"Select All", u'a'}};

// The views handle these keys, so the menu items send them.
void type(QChar letter)
{
    QWindow *const window = QGuiApplication::focusWindow();
    if (!window)
        return;
    const Qt::KeyboardModifiers modifiers =
        Qt::ControlModifier | (letter.isUpper() ? Qt::ShiftModifier : Qt::NoModifier);
    const int key = letter.toUpper().unicode();
    for (const QEvent::Type event : {QEvent::KeyPress, QEvent::KeyRelease})
        QCoreApplication::postEvent(window, new QKeyEvent(event, key, modifiers));
}
} // namespace

void EditMenu::install(std::function<void()> clearHistory)
{
    MenuBar *const menu = Platform::current().shell().menuBar();
    if (!menu)
        return; // the views handle all of these keys
    for (const TextItem &item : textItems) {
        const QChar key(item.key);
        menu->addItem(QString::fromUtf16(item.title), key, [key] { type(key); });
    }
    menu->addItem(u"Clear History"_s, u'k', std::move(clearHistory));
}
