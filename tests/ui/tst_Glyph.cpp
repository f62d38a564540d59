#include "tests/ui/PanelTest.h"

#include "ui/Glyph.h"

#include <QDir>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
QImage drawing(const QString &name, int side, double scale, const QColor &color = Qt::black,
               int turn = 0)
{
    Glyph glyph;
    glyph.setName(name);
    glyph.setColor(color);
    glyph.setTurn(turn);
    glyph.setSize(QSizeF(side, side));
    return glyph.drawing(scale);
}

/// The share of the square that is covered.
double coverage(const QImage &image)
{
    double sum = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            sum += qAlpha(image.pixel(x, y)) / 255.0;
    }
    return sum / image.width() / image.height();
}
} // namespace

class tst_Glyph : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasADrawingForEachSymbol();
    void drawsEachSymbol_data();
    void drawsEachSymbol();
    void minimisingIsAsStrongAsClosing();
    void takesTheColour();
    void cutsHolesIntoFilledSymbols();
    void turns();
    void drawsNothingWithoutAName();
    void isTheSystemsSymbolWhereItHasOne();
    void isSharpInAWindow();
};

void tst_Glyph::hasADrawingForEachSymbol()
{
    const QStringList names =
        QDir(u":/Quillon/glyphs"_s).entryList().replaceInStrings(u".svg"_s, QString());
    for (const QString &name :
         {u"sparkle"_s, u"stop.circle.fill"_s, u"arrow.up.circle.fill"_s, u"cpu"_s,
          u"arrow.turn.down.right"_s, u"exclamationmark.shield.fill"_s, u"lock.fill"_s,
          u"hand.raised.fill"_s, u"checkmark"_s, u"checkmark.circle.fill"_s, u"xmark.circle.fill"_s,
          u"info.circle"_s, u"spinner"_s})
        QVERIFY2(names.contains(name), qPrintable(name));
}

void tst_Glyph::drawsEachSymbol_data()
{
    QTest::addColumn<QString>("name");
    for (const QString &file : QDir(u":/Quillon/glyphs"_s).entryList())
        QTest::newRow(qPrintable(file)) << file.chopped(4);
}

void tst_Glyph::drawsEachSymbol()
{
    QFETCH(const QString, name);
    const QImage small = drawing(name, 16, 1);
    const QImage large = drawing(name, 16, 2);
    QCOMPARE(large.size(), QSize(32, 32));
    QVERIFY(coverage(small) > 0.03);
    QVERIFY(coverage(small) < 0.9);
    QVERIFY(qAbs(coverage(small) - coverage(large)) < 0.03);
    // Rendered at that scale, not enlarged.
    QVERIFY(small.scaled(32, 32, Qt::IgnoreAspectRatio, Qt::SmoothTransformation) != large);
    // Nothing is cut off: the outermost pixels are almost empty.
    const QImage huge = drawing(name, 96, 1);
    for (int i = 0; i < huge.width(); ++i) {
        for (const QPoint edge : {QPoint(i, 0), QPoint(i, 95), QPoint(0, i), QPoint(95, i)})
            QVERIFY(qAlpha(huge.pixel(edge)) < 32);
    }
}

void tst_Glyph::minimisingIsAsStrongAsClosing()
{
    const auto strength = [](const QString &name) {
        const QImage image = drawing(name, 12, 1);
        int strongest = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                strongest = std::max(strongest, qAlpha(image.pixel(x, y)));
        }
        return strongest;
    };
    QVERIFY(strength(u"minus"_s) >= strength(u"xmark"_s));
}

void tst_Glyph::takesTheColour()
{
    const QImage image = drawing(u"stop.circle.fill"_s, 24, 1, QColor(200, 100, 50));
    QCOMPARE(image.pixelColor(4, 12), QColor(200, 100, 50));
    const QImage veiled = drawing(u"stop.circle.fill"_s, 24, 1, QColor(0, 0, 0, 128));
    QCOMPARE(veiled.pixelColor(4, 12).alpha(), 128);
}

void tst_Glyph::cutsHolesIntoFilledSymbols()
{
    const QImage image = drawing(u"stop.circle.fill"_s, 24, 1);
    QCOMPARE(image.pixelColor(12, 12).alpha(), 0);
    QCOMPARE(image.pixelColor(4, 12).alpha(), 255);
    QCOMPARE(image.pixelColor(0, 0).alpha(), 0);
}

void tst_Glyph::turns()
{
    const QImage upright = drawing(u"spinner"_s, 24, 1);
    const QImage turned = drawing(u"spinner"_s, 24, 1, Qt::black, 90);
    QVERIFY(upright != turned);
    QVERIFY(qAlpha(upright.pixel(12, 5)) > qAlpha(upright.pixel(19, 12)));
    QVERIFY(qAlpha(turned.pixel(19, 12)) > qAlpha(turned.pixel(12, 5)));
}

void tst_Glyph::drawsNothingWithoutAName()
{
    QVERIFY(drawing({}, 24, 1).isNull());
}

void tst_Glyph::isTheSystemsSymbolWhereItHasOne()
{
    FakePlatform platform;
    platform.fakeAppearance.ownSymbols = {u"lock.fill"_s};
    const QColor colour(200, 100, 50);
    // A size that no other test uses, since images are cached.
    const QImage image = drawing(u"lock.fill"_s, 21, 2, colour);
    QCOMPARE(image.size(), QSize(42, 42));
    for (const int y : {0, 20, 41}) {
        QCOMPARE(image.pixelColor(0, y), colour);
        QCOMPARE(image.pixelColor(20, y), colour);
        QCOMPARE(image.pixelColor(21, y).alpha(), 0);
        QCOMPARE(image.pixelColor(41, y).alpha(), 0);
    }
    QVERIFY(coverage(drawing(u"sparkle"_s, 21, 2)) < 0.4);
}

void tst_Glyph::isSharpInAWindow()
{
    const PanelScene scene;
    QCOMPARE(scene.window->devicePixelRatio(), 2);
    const QQuickItem &glyph = scene.item(u"sparkle"_s);
    const QRectF place = glyph.mapRectToScene(glyph.boundingRect());
    const QImage picture = scene.grab();
    // In an enlarged image, the four pixels of each point would have one colour.
    int mixed = 0;
    for (int y = int(place.top()); y < int(place.bottom()); ++y) {
        for (int x = int(place.left()); x < int(place.right()); ++x) {
            const QRgb first = picture.pixel(2 * x, 2 * y);
            mixed +=
                picture.pixel(2 * x + 1, 2 * y) != first || picture.pixel(2 * x, 2 * y + 1) != first
                    ? 1
                    : 0;
        }
    }
    QVERIFY2(mixed > 20, qPrintable(QString::number(mixed)));
}

int main(int argc, char *argv[])
{
    qputenv("QT_SCALE_FACTOR", "2");
    PanelScene::prepareEnvironment();
    const QGuiApplication application(argc, argv);
    tst_Glyph test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_Glyph.moc"
