#include "tests/support/Waiting.h"
#include "tests/ui/PanelTest.h"
#include "ui/Ui.h"

#include <QSignalSpy>

using namespace Qt::StringLiterals;

class tst_PanelWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsTitleAndSizes();
    void hasItsOwnControlsWithoutAFrame();
    void leavesTheControlsToAFrame();
    void isSolidWithoutACompositor();
    void isRoundButSolidWithACompositor();
    void isTranslucentOverWhatIsBlurred();
    void stopsByItsKey();
    void isClearOverTheSystemsMaterial();
    void drawsItsShadowIfTheSystemDoesNot();
    void hasTheApplicationsIcon();
    void followsTheDesktopsLook();
    void canBeDraggedAgainWithoutTheButtonsRelease();
};

void tst_PanelWindow::hasItsTitleAndSizes()
{
    const PanelScene scene;
    QCOMPARE(scene.window->title(), u"Quillon"_s);
    QCOMPARE(scene.window->size(), QSize(720, 620));
    QCOMPARE(scene.window->minimumSize(), QSize(640, 460));
    QCOMPARE(scene.window->color().alpha(), 0);
}

void tst_PanelWindow::hasItsOwnControlsWithoutAFrame()
{
    PanelScene scene;
    for (const QString &name : {u"minimiseButton"_s, u"closeButton"_s}) {
        const QQuickItem &button = scene.item(name);
        const QRectF place = button.mapRectToScene(button.boundingRect());
        // In the empty area above the command bar.
        QVERIFY(place.top() >= 0 && place.bottom() <= 34);
    }
    scene.frame.show();
    scene.click(u"minimiseButton"_s);
    QVERIFY(!scene.frame.isShown());
    scene.frame.show();
    scene.click(u"closeButton"_s);
    QVERIFY(!scene.frame.isShown());
    QVERIFY(scene.find(u"windowEdges"_s));
}

void tst_PanelWindow::leavesTheControlsToAFrame()
{
    const PanelScene scene(PanelScene::Model::loaded, Qt::Window);
    for (const QString &name :
         {u"minimiseButton"_s, u"closeButton"_s, u"windowEdges"_s, u"windowHairline"_s})
        QVERIFY(!scene.find(name));
}

void tst_PanelWindow::isSolidWithoutACompositor()
{
    const PanelScene scene;
    const QQuickItem &background = scene.item(u"background"_s);
    QCOMPARE(background.property("color").value<QColor>().alpha(), 255);
    QCOMPARE(background.property("radius"), 0);
}

void tst_PanelWindow::isRoundButSolidWithACompositor()
{
    PanelScene scene;
    scene.platform.fakeShell.changeComposition(true, false);
    const QQuickItem &background = scene.item(u"background"_s);
    QCOMPARE(background.property("color").value<QColor>().alpha(), 255);
    QCOMPARE(background.property("radius"), 14);
}

void tst_PanelWindow::stopsByItsKey()
{
    PanelScene scene;
    scene.engine->holdGenerations();
    scene.engine->addReplies({Say::done()});
    scene.submit(u"Open Mail"_s);
    QTRY_COMPARE(scene.text(u"liveStatus"_s), u"Thinking…"_s);
    scene.key(Qt::Key_Period, Qt::ControlModifier);
    QCOMPARE(scene.text(u"liveStatus"_s), u"Stopping…"_s);
    QVERIFY(!scene.item(u"stopButton"_s).isEnabled());
    scene.engine->stopHoldingGenerations();
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.session->turns().last().log.last().text, u"Cancelled"_s);
    // The next task can be stopped again.
    scene.engine->holdGenerations();
    scene.engine->addReplies({Say::done()});
    scene.submit(u"Open Mail"_s);
    QTRY_COMPARE(scene.text(u"liveStatus"_s), u"Thinking…"_s);
    QVERIFY(scene.item(u"stopButton"_s).isEnabled());
    scene.engine->stopHoldingGenerations();
    QTRY_VERIFY(!scene.session->isRunning());
}

void tst_PanelWindow::isTranslucentOverWhatIsBlurred()
{
    PanelScene scene;
    scene.platform.fakeShell.changeComposition(true, true);
    const QQuickItem &background = scene.item(u"background"_s);
    QVERIFY(qAbs(background.property("color").value<QColor>().alphaF() - 0.94) < 0.01);
    QCOMPARE(background.property("radius"), 14);
    QVERIFY(scene.find(u"windowHairline"_s));
}

void tst_PanelWindow::isClearOverTheSystemsMaterial()
{
    PanelScene scene(PanelScene::Model::loaded, Qt::Window);
    scene.platform.fakeShell.changeComposition(true, true);
    const QQuickItem &background = scene.item(u"background"_s);
    QCOMPARE(background.property("color").value<QColor>().alpha(), 0);
}

void tst_PanelWindow::drawsItsShadowIfTheSystemDoesNot()
{
    PanelScene scene;
    QVERIFY(!scene.find(u"windowShadow"_s));
    QCOMPARE(scene.frame.margin(), 0);
    QCOMPARE(scene.item(u"frame"_s).position(), QPointF(0, 0));
    scene.platform.fakeShell.changeComposition(true, false, true);
    QVERIFY(scene.find(u"windowShadow"_s));
    QCOMPARE(scene.frame.margin(), 44);
    QCOMPARE(scene.platform.fakeShell.calls.last(), u"margin 44 of panel"_s);
    QCOMPARE(scene.item(u"frame"_s).position(), QPointF(44, 44));
    QCOMPARE(scene.item(u"background"_s).mapToScene(QPointF(0, 0)), QPointF(44, 44));
    // All of the shadow is in the margin.
    const QQuickItem &shadow = scene.item(u"windowShadow"_s);
    const QRectF shaded = shadow.mapRectToScene(shadow.boundingRect());
    QVERIFY(QRectF(QPointF(), scene.window->size()).contains(shaded));
    QVERIFY(shaded.contains(QRectF(scene.item(u"background"_s).boundingRect().translated(44, 44))));
    // A window that fills the screen has none.
    scene.window->setWindowStates(Qt::WindowMaximized);
    QTRY_COMPARE(scene.frame.margin(), 0);
    QVERIFY(!scene.find(u"windowShadow"_s));
    scene.window->setWindowStates(Qt::WindowNoState);
    QTRY_COMPARE(scene.frame.margin(), 44);
    scene.platform.fakeShell.changeComposition(false, false, false);
    QCOMPARE(scene.frame.margin(), 0);

    const PanelScene framed(PanelScene::Model::loaded, Qt::Window);
    QVERIFY(!framed.find(u"windowShadow"_s));
}

void tst_PanelWindow::hasTheApplicationsIcon()
{
    const Shell::Picture icon = Ui::views().drawIcon(32);
    QCOMPARE(icon.side, 32);
    QCOMPARE(icon.pixels.size(), 32 * 32);
    QCOMPARE(icon.pixels.first() >> 24, 0U); // the corners are round
    QCOMPARE(icon.pixels[16 * 32 + 4] >> 24, 0xffU);
}

void tst_PanelWindow::followsTheDesktopsLook()
{
    PanelScene scene;
    const QColor light = scene.color("surface");
    QVERIFY(light.lightnessF() > 0.9F);
    scene.setLook({.isDark = true,
                   .hasReducedMotion = true,
                   .accent = Look::Color{.red = 1, .green = 0.5, .blue = 0}});
    QVERIFY(scene.color("surface").lightnessF() < 0.2F);
    QCOMPARE(scene.theme().property("motion"), 0);
    QCOMPARE(scene.color("systemAccent"), QColor::fromRgbF(1, 0.5, 0));
    scene.setLook({});
    QCOMPARE(scene.color("surface"), light);
    QVERIFY(scene.theme().property("motion").toInt() >= 120);
    QVERIFY(scene.theme().property("motion").toInt() <= 180);
    // Without an accent colour of the desktop, it is the toolkit's.
    QVERIFY(scene.color("systemAccent") != QColor::fromRgbF(1, 0.5, 0));
}

PANEL_TEST_MAIN(tst_PanelWindow)

void tst_PanelWindow::canBeDraggedAgainWithoutTheButtonsRelease()
{
    const PanelScene scene;
    auto *const mover = scene.window->findChild<QObject *>(u"mover"_s);
    QVERIFY(mover);
    const QSignalSpy renewed(mover, SIGNAL(loaded()));
    for (int drag = 1; drag <= 2; ++drag) {
        // The system consumes the release.
        QTest::mousePress(scene.window.get(), Qt::LeftButton, {}, {360, 300});
        for (int step = 1; step <= 8; ++step)
            QTest::mouseMove(scene.window.get(), {360 + 10 * step, 300});
        QTRY_COMPARE(renewed.size(), drag);
    }
}

#include "tst_PanelWindow.moc"
