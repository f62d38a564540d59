#include "tests/ui/PanelTest.h"
#include "ui/Contrast.h"

using namespace Qt::StringLiterals;

namespace {
constexpr double enoughForText = 4.5;
constexpr double enoughForGlyphs = 3;

bool isAbout(double actual, double expected)
{
    return qAbs(actual - expected) < 0.01;
}
} // namespace

class tst_Theme : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void measuresContrast();
    void laysColoursOverEachOther();
    void makesColoursLegible_data();
    void makesColoursLegible();
    void isLegible_data();
    void isLegible();
};

void tst_Theme::measuresContrast()
{
    QVERIFY(isAbout(Contrast::ratio(Qt::black, Qt::white), 21));
    QVERIFY(isAbout(Contrast::ratio(Qt::white, Qt::black), 21));
    QVERIFY(isAbout(Contrast::ratio(Qt::red, Qt::red), 1));
    // Values from the guidelines' tools.
    QVERIFY(isAbout(Contrast::ratio(QColor(u"#767676"_s), Qt::white), 4.54));
    QVERIFY(isAbout(Contrast::ratio(QColor(u"#0000ff"_s), Qt::white), 8.59));
}

void tst_Theme::laysColoursOverEachOther()
{
    QCOMPARE(Contrast::over(QColor(0, 0, 0, 0), Qt::white).rgb(), QColor(Qt::white).rgb());
    QCOMPARE(Contrast::over(Qt::black, Qt::white).rgb(), QColor(Qt::black).rgb());
    QCOMPARE(Contrast::over(QColor(0, 0, 0, 51), Qt::white).rgb(), QColor(204, 204, 204).rgb());
}

void tst_Theme::makesColoursLegible_data()
{
    QTest::addColumn<QColor>("colour");
    QTest::addColumn<QColor>("background");
    for (const QColor &background :
         {QColor(Qt::white), QColor(Qt::black), QColor(0x77, 0x77, 0x77)}) {
        for (const QColor &colour : {QColor(Qt::white), QColor(Qt::black), QColor(Qt::yellow),
                                     QColor(Qt::blue), background}) {
            QTest::addRow("%s on %s", qPrintable(colour.name()), qPrintable(background.name()))
                << colour << background;
        }
    }
}

void tst_Theme::makesColoursLegible()
{
    QFETCH(const QColor, colour);
    QFETCH(const QColor, background);
    const double asked = std::min(enoughForText, std::max(Contrast::ratio(Qt::black, background),
                                                          Contrast::ratio(Qt::white, background)));
    const QColor legible = Contrast::legible(colour, background, asked);
    QVERIFY(Contrast::ratio(legible, background) >= asked - 0.001);
    if (Contrast::ratio(colour, background) >= asked)
        QCOMPARE(legible.rgb(), colour.rgb());
}

void tst_Theme::isLegible_data()
{
    QTest::addColumn<bool>("dark");
    QTest::addColumn<QColor>("accent");
    const QList<QColor> accents{
        QColor(),          QColor(0x00, 0x7a, 0xff), QColor(Qt::yellow),  QColor(Qt::red),
        QColor(Qt::white), QColor(Qt::black),        QColor(Qt::magenta), QColor(0x8e, 0x8e, 0x93)};
    for (const bool dark : {false, true}) {
        for (const QColor &accent : accents) {
            QTest::addRow("%s %s", dark ? "dark" : "light",
                          accent.isValid() ? qPrintable(accent.name()) : "toolkit's")
                << dark << accent;
        }
    }
}

void tst_Theme::isLegible()
{
    QFETCH(const bool, dark);
    QFETCH(const QColor, accent);
    PanelScene scene;
    Look look{.isDark = dark};
    if (accent.isValid())
        look.accent = Look::Color{accent.redF(), accent.greenF(), accent.blueF()};
    scene.setLook(look);

    // The surface over black and white, with and without the mouse over it, and the colours on it.
    QColor translucent = scene.color("surface");
    translucent.setAlphaF(scene.theme().property("translucency").toFloat());
    QList<QColor> surfaces{scene.color("surface"), Contrast::over(translucent, Qt::black),
                           Contrast::over(translucent, Qt::white)};
    for (const QColor &surface : QList(surfaces))
        surfaces << Contrast::over(scene.color("hover"), surface);
    const QList<QColor> raised{scene.color("raised"),
                               Contrast::over(scene.color("hover"), scene.color("raised"))};
    const QList<QColor> controls{Contrast::over(scene.color("control"), scene.color("surface")),
                                 Contrast::over(scene.color("control"), scene.color("raised"))};
    const auto check = [&](const char *name, const QList<QColor> &backgrounds, double enough) {
        for (const QColor &background : backgrounds) {
            const double ratio = Contrast::ratio(scene.color(name), background);
            QVERIFY2(ratio >= enough,
                     qPrintable(u"%1 on %2: %3"_s.arg(QString::fromLatin1(name), background.name())
                                    .arg(ratio)));
        }
    };
    for (const char *name : {"primary", "secondary", "tertiary", "red", "accentText"})
        check(name, surfaces, enoughForText);
    for (const char *name : {"green", "orange", "accent"})
        check(name, surfaces, enoughForGlyphs);
    for (const char *name : {"primary", "secondary"})
        check(name, raised + controls, enoughForText);
    check("orange", raised, enoughForGlyphs);
    check("primary", {scene.color("selection")}, enoughForText);
    check("accentInk", {scene.color("accentFill")}, enoughForText);
}

PANEL_TEST_MAIN(tst_Theme)

#include "tst_Theme.moc"
