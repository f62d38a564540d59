#include "app/EditMenu.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/Waiting.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QTest>
#include <QWindow>

using namespace Qt::StringLiterals;

namespace {
/// A window that records the keys that it receives.
class Listener : public QWindow
{
public:
    QList<QKeyCombination> keys;

protected:
    void keyPressEvent(QKeyEvent *event) override { keys.append(event->keyCombination()); }
};
} // namespace

class tst_EditMenu : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clearHistoryFollowsTheTextEditingItems();
    void nothingOpensASecondWindow();
    void clearHistoryCallsItsFunction();
    void textEditingItemsTypeTheirKeys();
    void textEditingItemsDoNothingWithoutAWindow();
};

void tst_EditMenu::clearHistoryFollowsTheTextEditingItems()
{
    const FakePlatform platform;
    EditMenu::install([] {});
    QCOMPARE(platform.fakeShell.calls,
             (QStringList{u"menu item Undo z"_s, u"menu item Redo Z"_s, u"menu item Cut x"_s,
                          u"menu item Copy c"_s, u"menu item Paste v"_s,
                          u"menu item Select All a"_s, u"menu item Clear History k"_s}));
}

void tst_EditMenu::nothingOpensASecondWindow()
{
    const FakePlatform platform;
    EditMenu::install([] {});
    for (const QString &call : platform.fakeShell.calls)
        QVERIFY2(!call.endsWith(u" n") && !call.contains(u"New"), qPrintable(call));
}

void tst_EditMenu::clearHistoryCallsItsFunction()
{
    const FakePlatform platform;
    int clearings = 0;
    EditMenu::install([&] { ++clearings; });
    platform.fakeShell.menu.value(u"Clear History"_s)();
    QCOMPARE(clearings, 1);
}

void tst_EditMenu::textEditingItemsTypeTheirKeys()
{
    const FakePlatform platform;
    EditMenu::install([] {});
    Listener window;
    window.show();
    window.requestActivate();
    QTRY_COMPARE(QGuiApplication::focusWindow(), &window);
    platform.fakeShell.menu.value(u"Copy"_s)();
    platform.fakeShell.menu.value(u"Redo"_s)();
    const QList<QKeyCombination> expected{Qt::CTRL | Qt::Key_C, Qt::CTRL | Qt::SHIFT | Qt::Key_Z};
    QTRY_COMPARE(window.keys, expected);
}

void tst_EditMenu::textEditingItemsDoNothingWithoutAWindow()
{
    const FakePlatform platform;
    EditMenu::install([] {});
    QTRY_VERIFY(!QGuiApplication::focusWindow());
    platform.fakeShell.menu.value(u"Paste"_s)();
    QCoreApplication::processEvents();
    QVERIFY(!QGuiApplication::focusWindow());
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    tst_EditMenu test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_EditMenu.moc"
