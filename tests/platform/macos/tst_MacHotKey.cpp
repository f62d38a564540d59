#include "FakeCarbon.h"
#include "platform/PlatformError.h"
#include "platform/macos/MacHotKey.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace Fake = FakeCarbon;

class tst_MacHotKey : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { Fake::reset(); }

    void theHandlerListensToPressedHotKeysOnly();
    void theHotKeyIsOptionAndTheSpaceBar();
    void aPressIsHandledFromTheMainQueue();
    void failuresAreIgnored();
    void theSystemHasNoOtherKey();
};

void tst_MacHotKey::theHandlerListensToPressedHotKeysOnly()
{
    MacHotKey().registerKey([] {});
    QCOMPARE(Fake::handlers.size(), 1);
    const Fake::Handler &handler = Fake::handlers.first();
    QCOMPARE(handler.types, (QList<std::pair<OSType, UInt32>>{{0x6b657962, 5}}));
    QVERIFY(!handler.userData);
    QVERIFY(!handler.keepsReference);
}

void tst_MacHotKey::theHotKeyIsOptionAndTheSpaceBar()
{
    MacHotKey hotKey;
    QVERIFY(!hotKey.isOurs());
    hotKey.registerKey([] {});
    QVERIFY(hotKey.isOurs());
    QCOMPARE(hotKey.name(), u"Option+Space"_s);
    QCOMPARE(Fake::hotKeys.size(), 1);
    const Fake::HotKey key = Fake::hotKeys.first();
    QCOMPARE(key.keyCode, 49U);
    QCOMPARE(key.modifiers, 2048U);
    QCOMPARE(key.signature, 0x5155494cU); // "QUIL"
    QCOMPARE(key.id, 1U);
    QCOMPARE(key.options, 0U);
}

void tst_MacHotKey::aPressIsHandledFromTheMainQueue()
{
    int presses = 0;
    MacHotKey().registerKey([&] { ++presses; });
    QCOMPARE(Fake::press(), noErr);
    QCOMPARE(Fake::press(), noErr);
    QCOMPARE(presses, 0);
    QCOMPARE(Fake::runMainQueue(), 2);
    QCOMPARE(presses, 2);
}

void tst_MacHotKey::failuresAreIgnored()
{
    constexpr OSStatus hotKeyExists = -9878;
    Fake::result = hotKeyExists;
    MacHotKey key;
    key.registerKey([] {});
    QVERIFY(!key.isOurs());
    QCOMPARE(Fake::handlers.size(), 1);
    QCOMPARE(Fake::hotKeys.size(), 1); // not retried
    QCOMPARE(Fake::runMainQueue(), 0);
}

void tst_MacHotKey::theSystemHasNoOtherKey()
{
    MacHotKey key;
    QVERIFY(key.alternative().isEmpty());
    QVERIFY(key.command().isEmpty());
    QVERIFY(!key.isAlternativeBound());
    QVERIFY_THROWS_EXCEPTION(PlatformError, key.bindAlternative());
}

QTEST_APPLESS_MAIN(tst_MacHotKey)
#include "tst_MacHotKey.moc"
