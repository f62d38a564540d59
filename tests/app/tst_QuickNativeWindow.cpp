#include "app/QuickNativeWindow.h"
#include "tests/support/FakePlatform.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <QTest>

class tst_QuickNativeWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isRegisteredWithTheShellWhileItExists();
    void reportsEachCreationOfTheNativeWindow();
    void isShownUnlessItIsHiddenMinimisedOrClosed();
    void theMarginIsNoPartOfWhatTheUserSees();
};

void tst_QuickNativeWindow::isRegisteredWithTheShellWhileItExists()
{
    const FakePlatform platform;
    QQuickWindow window;
    {
        QuickNativeWindow panel(window, [] {});
        QCOMPARE(platform.fakeShell.window(), &panel);
    }
    QVERIFY(!platform.fakeShell.window());
}

void tst_QuickNativeWindow::reportsEachCreationOfTheNativeWindow()
{
    const FakePlatform platform;
    QQuickWindow window;
    int made = 0;
    QuickNativeWindow panel(window, [&made] { ++made; });
    QCOMPARE(made, 0);
    QVERIFY(panel.handle() != 0);
    QCOMPARE(made, 1);
    panel.show();
    panel.hide();
    panel.show();
    QCOMPARE(made, 1);
    // Changes to the native window are lost when it is destroyed.
    panel.close();
    panel.show();
    QCOMPARE(made, 2);
}

void tst_QuickNativeWindow::isShownUnlessItIsHiddenMinimisedOrClosed()
{
    const FakePlatform platform;
    QQuickWindow window;
    QuickNativeWindow panel(window, [] {});
    QVERIFY(!panel.isShown());
    panel.show();
    QVERIFY(panel.isShown());
    panel.hide();
    QVERIFY(!panel.isShown());
    panel.show();
    panel.minimise();
    QVERIFY(!panel.isShown());
    panel.show();
    QVERIFY(panel.isShown());
    panel.close();
    QVERIFY(!panel.isShown());
    panel.show();
    QVERIFY(panel.isShown());
}

void tst_QuickNativeWindow::theMarginIsNoPartOfWhatTheUserSees()
{
    const FakePlatform platform;
    QQuickWindow window;
    window.resize(720, 620);
    window.setMinimumSize({640, 460});
    QuickNativeWindow panel(window, [] {});
    panel.setMargin(44);
    QCOMPARE(panel.margin(), 44);
    QCOMPARE(panel.size(), QSize(720, 620));
    QCOMPARE(window.size(), QSize(808, 708));
    QCOMPARE(panel.minimumSize(), QSize(640, 460));
    QCOMPARE(window.minimumSize(), QSize(728, 548));
    panel.moveTo({100, 50});
    QCOMPARE(window.position(), QPoint(56, 6));
    panel.show();
    panel.resize({640, 500});
    QCOMPARE(window.size(), QSize(728, 588));
    // The visible part stays at its place.
    panel.setMargin(0);
    QCOMPARE(panel.size(), QSize(640, 500));
    QCOMPARE(window.size(), QSize(640, 500));
    QCOMPARE(window.minimumSize(), QSize(640, 460));
    QCOMPARE(window.position(), QPoint(100, 50));
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    const QGuiApplication application(argc, argv);
    tst_QuickNativeWindow test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_QuickNativeWindow.moc"
