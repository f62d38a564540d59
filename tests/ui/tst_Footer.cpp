#include "tests/support/Waiting.h"
#include "tests/ui/PanelTest.h"

using namespace Qt::StringLiterals;

using Model = PanelScene::Model;

class tst_Footer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysThatEverythingStaysHere();
    void asksForAccess();
    void showsAccessThatWasGrantedMeanwhile();
    void namesTheHotKey();
    void nothingInItCoversAnythingElse_data();
    void nothingInItCoversAnythingElse();
    void offersModelsWhileOneIsLoadedOnly();
    void choosesAModelByMouse();
    void choosesAModelByKeys();
    void escapeClosesTheMenuFirst();
    void aSummonClosesTheMenu();
    void standsOnOneLineWhateverIsInIt();
};

void tst_Footer::saysThatEverythingStaysHere()
{
    const PanelScene scene;
    QCOMPARE(scene.text(u"onDevice"_s), u"On-device"_s);
    QCOMPARE(scene.item(u"onDeviceSymbol"_s).property("name"), u"lock.fill"_s);
    QVERIFY(!scene.find(u"grantButton"_s));
}

void tst_Footer::asksForAccess()
{
    PanelScene scene;
    scene.setTrusted(false);
    QCOMPARE(scene.text(u"grantButton"_s), u"Grant Accessibility access"_s);
    QCOMPARE(scene.item(u"grantButton"_s).property("symbol"), u"hand.raised.fill"_s);
    QVERIFY(!scene.find(u"onDevice"_s));
    scene.click(u"grantButton"_s);
    QCOMPARE(scene.platform.fakeAccessibility.trustRequests, 1);
    // The system asks the user; the answer is read at the next summon.
    QVERIFY(scene.find(u"grantButton"_s));
    scene.platform.fakeAccessibility.givesTrust = true;
    scene.click(u"grantButton"_s);
    QVERIFY(scene.find(u"onDevice"_s));
    QVERIFY(!scene.find(u"grantButton"_s));
}

void tst_Footer::showsAccessThatWasGrantedMeanwhile()
{
    PanelScene scene;
    scene.setTrusted(false);
    scene.platform.fakeAccessibility.trusted = true;
    QVERIFY(scene.find(u"grantButton"_s));
    PanelScene::summon();
    QVERIFY(scene.find(u"onDevice"_s));
    QVERIFY(!scene.find(u"grantButton"_s));
}

void tst_Footer::namesTheHotKey()
{
    const PanelScene scene(Model::missing);
    QCOMPARE(scene.text(u"hotKeyHint"_s), u"⌥Space"_s);
}

void tst_Footer::nothingInItCoversAnythingElse_data()
{
    QTest::addColumn<bool>("isTrusted");
    QTest::addColumn<Model>("model");

    QTest::newRow("a model before the first frame") << false << Model::loaded;
    QTest::newRow("a model soon after") << false << Model::present;
    QTest::newRow("no model") << false << Model::missing;
    QTest::newRow("trusted") << true << Model::loaded;
}

void tst_Footer::nothingInItCoversAnythingElse()
{
    QFETCH(const bool, isTrusted);
    QFETCH(const Model, model);
    PanelScene scene(model, Qt::Window | Qt::FramelessWindowHint, isTrusted);
    if (model != Model::missing)
        QTRY_VERIFY(scene.find(u"modelMenuButton"_s));
    for (const QSize size : {QSize(720, 620), QSize(640, 460)}) {
        scene.window->resize(size);
        QTRY_COMPARE(scene.window->contentItem()->width(), size.width());
        qreal end = 0;
        for (const QString &name : {isTrusted ? u"onDevice"_s : u"grantButton"_s, u"hotKeyHint"_s,
                                    u"modelMenuButton"_s}) {
            const QQuickItem *const item = scene.find(name);
            if (!item)
                continue;
            const QRectF place = item->mapRectToScene(item->boundingRect());
            QVERIFY2(place.left() > end + 8 && place.width() > 20, qPrintable(name));
            end = place.right();
        }
        QVERIFY(end <= size.width() - 16);
    }
}

void tst_Footer::offersModelsWhileOneIsLoadedOnly()
{
    PanelScene scene(Model::loading);
    QVERIFY(!scene.find(u"modelMenuButton"_s));
    scene.engine->releaseLoad();
    QTRY_VERIFY(scene.find(u"modelMenuButton"_s));
    QCOMPARE(scene.text(u"modelMenuButton"_s), u"Qwen2.5 1.5B Instruct"_s);
    scene.manager->select(LocalModel::catalog().at(1));
    QVERIFY(!scene.find(u"modelMenuButton"_s));
}

void tst_Footer::choosesAModelByMouse()
{
    PanelScene scene;
    scene.click(u"modelMenuButton"_s);
    QTRY_VERIFY(scene.find(u"modelMenuItem1"_s));
    QCOMPARE(scene.text(u"modelMenuItem0"_s), u"Qwen2.5 1.5B Instruct"_s);
    QCOMPARE(scene.text(u"modelMenuItem1"_s), u"Llama 3.2 3B Instruct"_s);
    QVERIFY(!scene.find(u"modelMenuItem2"_s));
    scene.click(u"modelMenuItem1"_s);
    QTRY_COMPARE(scene.manager->selected().id, u"llama3.2-3b"_s);
    QTRY_VERIFY(scene.find(u"setUpCard"_s));
    QCOMPARE(scene.text(u"downloadButton"_s), u"Download Llama 3.2 3B Instruct"_s);
}

void tst_Footer::choosesAModelByKeys()
{
    PanelScene scene;
    ViewModels::putModel(LocalModel::catalog().at(1));
    scene.item(u"modelMenuButton"_s).forceActiveFocus(Qt::TabFocusReason);
    scene.key(Qt::Key_Return);
    QTRY_VERIFY(scene.find(u"modelMenuItem1"_s));
    scene.key(Qt::Key_Down);
    scene.key(Qt::Key_Down);
    scene.key(Qt::Key_Return);
    QTRY_COMPARE(scene.manager->selected().id, u"llama3.2-3b"_s);
    QTRY_VERIFY(scene.modelsView->isLoaded());
    QTRY_COMPARE(scene.text(u"modelMenuButton"_s), u"Llama 3.2 3B Instruct"_s);
}

void tst_Footer::escapeClosesTheMenuFirst()
{
    const PanelScene scene;
    scene.click(u"modelMenuButton"_s);
    QTRY_VERIFY(scene.find(u"modelMenuItem1"_s));
    scene.key(Qt::Key_Escape);
    QTRY_VERIFY(!scene.find(u"modelMenuItem1"_s));
    QCOMPARE(scene.hides(), 0);
    // The focus is unchanged.
    QTRY_VERIFY(scene.hasFocus(u"commandField"_s));
    scene.key(Qt::Key_Escape);
    QCOMPARE(scene.hides(), 1);
}

void tst_Footer::aSummonClosesTheMenu()
{
    const PanelScene scene;
    scene.click(u"modelMenuButton"_s);
    QTRY_VERIFY(scene.find(u"modelMenuItem1"_s));
    PanelScene::summon();
    QTRY_VERIFY(scene.hasFocus(u"commandField"_s));
    QTRY_VERIFY(!scene.find(u"modelMenuItem1"_s));
    scene.type(u"Open Mail"_s);
    QCOMPARE(scene.typed(), u"Open Mail"_s);
}

void tst_Footer::standsOnOneLineWhateverIsInIt()
{
    const auto top = [](const PanelScene &scene, const QString &name) {
        return scene.item(name).mapToScene({}).y();
    };
    const auto right = [](const PanelScene &scene, const QString &name) {
        const QQuickItem &item = scene.item(name);
        return scene.window->width() - item.mapRectToScene(item.boundingRect()).right();
    };
    qreal line = 0;
    {
        const PanelScene scene(Model::missing);
        line = top(scene, u"onDevice"_s);
        QCOMPARE(top(scene, u"hotKeyHint"_s), line);
        QCOMPARE(scene.item(u"onDeviceSymbol"_s).mapToScene({}).x(), 22);
        QVERIFY(qAbs(right(scene, u"hotKeyHint"_s) - 22) < 1);
    }
    const PanelScene scene;
    QTRY_COMPARE(top(scene, u"modelMenuText"_s), line);
    for (const QString &name : {u"onDevice"_s, u"hotKeyHint"_s})
        QTRY_COMPARE(top(scene, name), line);
}

PANEL_TEST_MAIN(tst_Footer)

#include "tst_Footer.moc"
