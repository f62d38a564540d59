#include "FakeCocoa.h"
#include "FakeCoreFoundation.h"
#include "platform/NativeWindow.h"
#include "platform/macos/MacShell.h"

#include <QRect>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
class Window final : public NativeWindow
{
public:
    quintptr handle() const override { return m_view; }
    bool isShown() const override { return m_isShown; }
    bool hasFocus() const override { return false; }
    bool canBecomeMain() const override { return true; }
    void show() override { m_isShown = true; }
    void hide() override {}
    void minimise() override {}
    void close() override {}
    QSize size() const override { return m_size; }
    QSize minimumSize() const override { return {640, 460}; }
    QRect screen() const override { return {1920, 0, 1280, 800}; }
    QRect screenArea() const override { return area; }
    double scale() const override { return 1; }
    void moveTo(QPoint to) override { corner = to; }
    void resize(QSize size) override { m_size = size; }
    int margin() const override { return 0; }
    void setMargin(int) override {}

    QRect area{1920, 25, 1280, 700};
    QPoint corner;

private:
    const quintptr m_view = FakeCocoa::makeWindow();
    bool m_isShown = false;
    QSize m_size{720, 620};
};
} // namespace

class tst_MacShell : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { FakeCocoa::makeApplication(true); }
    void cleanup();

    void aLoginWithoutAWindowServerHasNoDisplay();
    void theApplicationIsActivatedAndHidden();
    void aClickInTheDockIsForwarded();
    void menuItemsCallTheirFunctions();
    void aScreenReaderIsToldAText();
    void aWindowComesToTheFront();
    void aWindowIsCentredOnTheUsersScreen();
    void whatIsLargerThanTheScreenIsMadeToFit();
    void aWindowIsKeptAboveOthers();
    void theDockIconAsksForAttention();
    void aWindowBecomesAPanel();
    void theContentsDoNotMoveTheWindow(); // first: the class keeps the added method
    void theMaterialIsBehindTheContents();

private:
    MacShell m_shell;
};

void tst_MacShell::cleanup()
{
    FakeCocoa::reset();
    QCOMPARE(FakeCoreFoundation::livingObjects(), 0);
}

void tst_MacShell::aLoginWithoutAWindowServerHasNoDisplay()
{
    QVERIFY(m_shell.hasDisplay());
    FakeCocoa::hasSession = false;
    QVERIFY(!m_shell.hasDisplay());
}

void tst_MacShell::theApplicationIsActivatedAndHidden()
{
    m_shell.dock()->setRegularPolicy();
    QVERIFY(!m_shell.isActive());
    m_shell.activate();
    QVERIFY(m_shell.isActive());
    m_shell.hide();
    QVERIFY(!m_shell.isActive());
    QCOMPARE(FakeCocoa::calls, (QStringList{u"policy 0"_s, u"activate 1"_s, u"hide"_s}));
}

void tst_MacShell::aClickInTheDockIsForwarded()
{
    QList<bool> clicks;
    m_shell.dock()->observeReopening(
        [&](bool hasVisibleWindows) { clicks.append(hasVisibleWindows); });
    QVERIFY(FakeCocoa::reopen(true));
    QVERIFY(FakeCocoa::reopen(false));
    QCOMPARE(clicks, (QList<bool>{true, false}));
    m_shell.dock()->observeReopening([](bool) {});
}

void tst_MacShell::menuItemsCallTheirFunctions()
{
    QStringList chosen;
    m_shell.menuBar()->addItem(u"Copy"_s, u'c', [&] { chosen.append(u"copy"_s); });
    m_shell.menuBar()->addItem(u"Clear History"_s, u'k', [&] { chosen.append(u"clear"_s); });
    QCOMPARE(FakeCocoa::menus(),
             (QStringList{u"File: Close w"_s, u"Edit: Copy c"_s, u"Edit: Clear History k"_s,
                          u"Window: Minimize m"_s}));
    FakeCocoa::chooseMenuItem(u"Clear History"_s);
    FakeCocoa::chooseMenuItem(u"Copy"_s);
    QCOMPARE(chosen, (QStringList{u"clear"_s, u"copy"_s}));
}

void tst_MacShell::aScreenReaderIsToldAText()
{
    m_shell.announce(u"Opening Safari"_s, 7);
    QCOMPARE(
        FakeCocoa::calls,
        QStringList{u"AXAnnouncementRequested of the application: Opening Safari, priority 50"_s});
}

void tst_MacShell::aWindowComesToTheFront()
{
    Window window;
    QVERIFY(!m_shell.isVisible(window));
    m_shell.makeKeyAndOrderFront(window);
    m_shell.center(window);
    QVERIFY(window.isShown());
    QVERIFY(m_shell.isVisible(window));
    QVERIFY(!m_shell.isKey(window)); // the application is not active
    m_shell.activate();
    QVERIFY(m_shell.isKey(window));
    QCOMPARE(FakeCocoa::calls, (QStringList{u"front"_s, u"center"_s, u"activate 1"_s}));
}

void tst_MacShell::aWindowIsCentredOnTheUsersScreen()
{
    Window window;
    m_shell.center(window);
    QCOMPARE(window.corner, QPoint(1920, 25));
    QCOMPARE(window.size(), QSize(720, 620));
    QCOMPARE(FakeCocoa::calls, QStringList{u"center"_s});
}

void tst_MacShell::whatIsLargerThanTheScreenIsMadeToFit()
{
    Window window;
    window.area = QRect(0, 25, 1024, 545);
    m_shell.center(window);
    QCOMPARE(window.size(), QSize(720, 545));
    // But not below the smallest size.
    window.area = QRect(0, 25, 600, 400);
    m_shell.center(window);
    QCOMPARE(window.size(), QSize(640, 460));
    // Nothing is known of the screen.
    window.area = QRect();
    m_shell.center(window);
    QCOMPARE(window.size(), QSize(640, 460));
}

void tst_MacShell::aWindowIsKeptAboveOthers()
{
    Window window;
    m_shell.keepAbove(window, true);
    m_shell.keepAbove(window, false);
    QCOMPARE(FakeCocoa::calls, (QStringList{u"level 3"_s, u"level 0"_s}));
}

void tst_MacShell::theDockIconAsksForAttention()
{
    Window window;
    m_shell.requestAttention(window, Urgency::question);
    m_shell.requestAttention(window, Urgency::news);
    QCOMPARE(FakeCocoa::calls, (QStringList{u"attention 0"_s, u"attention 10"_s}));
    QVERIFY(!m_shell.notifier());
}

void tst_MacShell::aWindowBecomesAPanel()
{
    Window window;
    m_shell.style(window);
    const QStringList panel{u"title bar clear"_s,
                            u"title 1"_s,
                            u"moved by its background 1"_s,
                            u"style %1"_s.arg(1 | 1 << 15),
                            u"opaque 0"_s,
                            u"contents 720x620"_s,
                            u"spaces %1"_s.arg(1 << 1 | 1 << 8 | 1 << 12),
                            u"view"_s};
    QCOMPARE(FakeCocoa::describeWindow(), panel);
}

void tst_MacShell::theMaterialIsBehindTheContents()
{
    Window window;
    m_shell.placeMaterialBehind(window, Shell::Material::underWindowBackground);
    QCOMPARE(FakeCocoa::describeWindow().sliced(7),
             (QStringList{u"material 21 0 1 18"_s, u"view"_s}));
}

void tst_MacShell::theContentsDoNotMoveTheWindow()
{
    Window window;
    QVERIFY(FakeCocoa::movesWindow(window.handle()));
    m_shell.placeMaterialBehind(window, Shell::Material::underWindowBackground);
    QVERIFY(!FakeCocoa::movesWindow(window.handle()));
    // Another window of the same class has the method too.
    Window second;
    m_shell.placeMaterialBehind(second, Shell::Material::underWindowBackground);
    QVERIFY(!FakeCocoa::movesWindow(second.handle()));
}

QTEST_GUILESS_MAIN(tst_MacShell)
#include "tst_MacShell.moc"
