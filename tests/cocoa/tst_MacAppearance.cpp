#include "FakeCocoa.h"
#include "FakeCoreFoundation.h"
#include "platform/macos/MacAppearance.h"

#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;

class tst_MacAppearance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { FakeCocoa::makeApplication(true); }
    void cleanup();

    void theLookIsThatOfTheSystem();
    void everyChangeIsReported();
    void aSymbolIsCentred();
    void aMissingSymbolIsEmpty();
    void symbolsAreAlsoRenderedOnAnotherThread();
};

void tst_MacAppearance::cleanup()
{
    FakeCocoa::reset();
    QCOMPARE(FakeCoreFoundation::livingObjects(), 0);
}

void tst_MacAppearance::theLookIsThatOfTheSystem()
{
    const Look::Color accent{0.25, 0.5, 0.75};
    const Look light{.accent = accent};
    QCOMPARE(MacAppearance().look(), light);
    FakeCocoa::isDark = true;
    FakeCocoa::reducesMotion = true;
    const Look dark{.isDark = true, .hasReducedMotion = true, .accent = accent};
    QCOMPARE(MacAppearance().look(), dark);
}

void tst_MacAppearance::everyChangeIsReported()
{
    int changes = 0;
    MacAppearance().observe([&] { ++changes; });
    FakeCocoa::changeColors();
    QCOMPARE(changes, 1);
    FakeCocoa::changeAppearance();
    QCOMPARE(changes, 2);
    FakeCocoa::changeMotion();
    QCOMPARE(changes, 3);
    // A new observer replaces the old one.
    MacAppearance().observe([] {});
    FakeCocoa::changeColors();
    QCOMPARE(changes, 3);
}

void tst_MacAppearance::aSymbolIsCentred()
{
    FakeCocoa::symbols = {u"checkmark"_s};
    const QByteArray coverage = MacAppearance().symbol(u"checkmark"_s, 8);
    // The symbol is twice as wide as high.
    const QByteArray empty(8, '\0');
    const QByteArray full(8, '\x7f');
    QCOMPARE(coverage, empty + empty + full + full + full + full + empty + empty);
}

void tst_MacAppearance::aMissingSymbolIsEmpty()
{
    QVERIFY(MacAppearance().symbol(u"checkmark"_s, 8).isEmpty());
}

void tst_MacAppearance::symbolsAreAlsoRenderedOnAnotherThread()
{
    FakeCocoa::symbols = {u"checkmark"_s};
    qsizetype size = 0;
    std::thread([&] { size = MacAppearance().symbol(u"checkmark"_s, 4).size(); }).join();
    QCOMPARE(size, 16);
}

QTEST_GUILESS_MAIN(tst_MacAppearance)
#include "tst_MacAppearance.moc"
