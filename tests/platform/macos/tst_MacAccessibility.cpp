#include "FakeCoreFoundation.h"
#include "platform/macos/MacAccessibility.h"

#include <QTest>

using namespace Qt::StringLiterals;
namespace Fake = FakeCoreFoundation;

class tst_MacAccessibility : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void trustIsWhatTheSystemSays();
    void lookingAtTrustAsksNobody();
    void askingShowsTheSystemsPrompt();
};

void tst_MacAccessibility::init()
{
    Fake::trusted = true;
    Fake::trustPrompts = 0;
}

void tst_MacAccessibility::cleanup()
{
    QCOMPARE(Fake::livingObjects(), 0);
}

void tst_MacAccessibility::trustIsWhatTheSystemSays()
{
    QVERIFY(MacAccessibility().isTrusted());
    Fake::trusted = false;
    QVERIFY(!MacAccessibility().isTrusted());
}

void tst_MacAccessibility::lookingAtTrustAsksNobody()
{
    Fake::trusted = false;
    (void)MacAccessibility().isTrusted();
    QCOMPARE(Fake::trustPrompts, 0);
}

void tst_MacAccessibility::askingShowsTheSystemsPrompt()
{
    Fake::trusted = false;
    MacAccessibility().requestTrust();
    QCOMPARE(Fake::trustPrompts, 1);
}

QTEST_APPLESS_MAIN(tst_MacAccessibility)
#include "tst_MacAccessibility.moc"
