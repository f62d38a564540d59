#include "app/HotKey.h"
#include "app/KeyOffer.h"
#include "tests/support/FakePlatform.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_KeyOffer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingIsSaidOfAKeyThatIsOurs();
    void aKeyThatIsTakenIsSaidOnce();
    void theOtherKeyIsBoundWithTheUsersConsent();
    void aKeyThatWasBoundBeforeIsEnough();
    void whyItIsNotBoundIsSaid();
    void aDesktopThatBindsNoneGetsTheCommandCopied();
    void aSystemWithoutSettingsForKeysSaysItOnly();
};

namespace {
const QString taken = u"Option+Space belongs to another program."_s;
} // namespace

void tst_KeyOffer::nothingIsSaidOfAKeyThatIsOurs()
{
    const FakePlatform platform;
    KeyOffer offer;
    QCOMPARE(offer.help(), u"Option+Space shows and hides Quillon"_s);
    HotKey::shared().registerKey();
    QCOMPARE(offer.text(), QString());
    QCOMPARE(offer.action(), QString());
    offer.accept();
    QCOMPARE(offer.text(), QString());
}

void tst_KeyOffer::aKeyThatIsTakenIsSaidOnce()
{
    FakePlatform platform;
    platform.fakeHotKey.isTaken = true;
    platform.fakeHotKey.otherKey = u"Ctrl+Alt+Space"_s;
    KeyOffer offer;
    const QSignalSpy changes(&offer, &KeyOffer::changed);
    HotKey::shared().registerKey();
    QCOMPARE(offer.text(), taken);
    QCOMPARE(offer.action(), u"Use Ctrl+Alt+Space"_s);
    QCOMPARE(offer.help(), u"Option+Space belongs to another program"_s);
    QCOMPARE(changes.size(), 1);
    offer.dismiss();
    QCOMPARE(offer.text(), QString());
    QCOMPARE(offer.action(), QString());
    HotKey::summon();
    QCOMPARE(offer.text(), QString());
    QVERIFY(!platform.fakeHotKey.isOtherBound);
}

void tst_KeyOffer::theOtherKeyIsBoundWithTheUsersConsent()
{
    FakePlatform platform;
    platform.fakeHotKey.isTaken = true;
    platform.fakeHotKey.otherKey = u"Ctrl+Alt+Space"_s;
    KeyOffer offer;
    HotKey::shared().registerKey();
    QVERIFY(!platform.fakeHotKey.isOtherBound);
    offer.accept();
    QVERIFY(platform.fakeHotKey.isOtherBound);
    QCOMPARE(offer.text(), u"Ctrl+Alt+Space shows and hides Quillon from now on."_s);
    QCOMPARE(offer.action(), QString());
    QCOMPARE(offer.help(), u"Ctrl+Alt+Space shows and hides Quillon"_s);
}

void tst_KeyOffer::aKeyThatWasBoundBeforeIsEnough()
{
    FakePlatform platform;
    platform.fakeHotKey.isTaken = true;
    platform.fakeHotKey.otherKey = u"Ctrl+Alt+Space"_s;
    platform.fakeHotKey.isOtherBound = true;
    const KeyOffer offer;
    HotKey::shared().registerKey();
    QCOMPARE(offer.text(), QString());
    QCOMPARE(offer.help(), u"Ctrl+Alt+Space shows and hides Quillon"_s);
}

void tst_KeyOffer::whyItIsNotBoundIsSaid()
{
    FakePlatform platform;
    platform.fakeHotKey.isTaken = true;
    platform.fakeHotKey.otherKey = u"Ctrl+Alt+Space"_s;
    platform.fakeHotKey.toggleCommand = u"quillon --toggle"_s;
    platform.fakeHotKey.failure = u"It did not take the key."_s;
    KeyOffer offer;
    HotKey::shared().registerKey();
    offer.accept();
    QCOMPARE(offer.text(), u"It did not take the key. Bind a key to “quillon --toggle”."_s);
    QCOMPARE(offer.action(), u"Copy Command"_s);
}

void tst_KeyOffer::aDesktopThatBindsNoneGetsTheCommandCopied()
{
    FakePlatform platform;
    platform.fakeHotKey.isTaken = true;
    platform.fakeHotKey.toggleCommand = u"quillon --toggle"_s;
    KeyOffer offer;
    HotKey::shared().registerKey();
    QCOMPARE(offer.text(), taken + u" Bind a key to “quillon --toggle”."_s);
    QCOMPARE(offer.action(), u"Copy Command"_s);
    offer.accept();
    QCOMPARE(QGuiApplication::clipboard()->text(), u"quillon --toggle"_s);
    QCOMPARE(offer.text(), u"Copied: paste it into the desktop's settings for keys."_s);
    QCOMPARE(offer.action(), QString());
}

void tst_KeyOffer::aSystemWithoutSettingsForKeysSaysItOnly()
{
    FakePlatform platform;
    platform.fakeHotKey.isTaken = true;
    const KeyOffer offer;
    HotKey::shared().registerKey();
    QCOMPARE(offer.text(), taken);
    QCOMPARE(offer.action(), QString());
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    tst_KeyOffer test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_KeyOffer.moc"
