#include "FakeCocoa.h"
#include "platform/macos/MacInstance.h"

#include <QCoreApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using Request = Instance::Request;

namespace {
const QString bundle = u"app.quillon.Quillon"_s;
} // namespace

class tst_MacInstance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { FakeCocoa::reset(); }

    void theFirstProcessIsTheInstance();
    void processesWithoutAPanelDoNotCount_data();
    void processesWithoutAPanelDoNotCount();
    void requestsArriveAndAreAnswered();
    void aRequestIsDeliveredOnceItIsAnswered();
    void aSilentInstanceDiffersFromNone();
    void noApplicationObjectIsNeeded();
    void theProcessWithTheKeyAnswers_data();
    void theProcessWithTheKeyAnswers();
    void aProcessThatIsNotThereHasNoKey();
};

void tst_MacInstance::theFirstProcessIsTheInstance()
{
    FakeCocoa::running = {{.pid = int(QCoreApplication::applicationPid()), .bundle = bundle}};
    QVERIFY(MacInstance().claim([](Request) {}));
    FakeCocoa::running.append({.pid = 1, .bundle = bundle});
    QVERIFY(!MacInstance().claim([](Request) {}));
    QVERIFY(MacInstance::runsElsewhere());
}

void tst_MacInstance::processesWithoutAPanelDoNotCount_data()
{
    QTest::addColumn<long>("policy");
    QTest::addColumn<QString>("of");
    QTest::addColumn<bool>("isTerminated");
    QTest::newRow("a task in the terminal") << 2L << bundle << false;
    QTest::newRow("another program") << 0L << u"com.apple.Safari"_s << false;
    QTest::newRow("one that has ended") << 0L << bundle << true;
}

void tst_MacInstance::processesWithoutAPanelDoNotCount()
{
    QFETCH(const long, policy);
    QFETCH(const QString, of);
    QFETCH(const bool, isTerminated);
    FakeCocoa::running = {{.pid = 1, .policy = policy, .bundle = of, .isTerminated = isTerminated}};
    QVERIFY(MacInstance().claim([](Request) {}));
}

void tst_MacInstance::requestsArriveAndAreAnswered()
{
    QList<Request> received;
    QVERIFY(MacInstance().claim([&](Request request) { received.append(request); }));
    FakeCocoa::receive(bundle + u".request.1"_s, u"4711"_s);
    FakeCocoa::receive(bundle + u".request.0"_s, u"4712"_s);
    QVERIFY(received.isEmpty());
    FakeCocoa::turn();
    QCOMPARE(received, (QList<Request>{Request::toggle, Request::open}));
    QCOMPARE(FakeCocoa::posted.size(), 2);
    QCOMPARE(FakeCocoa::posted[0].name, bundle + u".answer"_s);
    QCOMPARE(FakeCocoa::posted[0].about, u"4711"_s);
    QCOMPARE(FakeCocoa::posted[1].about, u"4712"_s);
}

void tst_MacInstance::aRequestIsDeliveredOnceItIsAnswered()
{
    FakeCocoa::running = {{.pid = 1, .bundle = bundle}};
    QCOMPARE(MacInstance().handOver(Request::toggle), Instance::Answer::taken);
    QCOMPARE(FakeCocoa::posted.size(), 1);
    QCOMPARE(FakeCocoa::posted[0].name, bundle + u".request.1"_s);
    QCOMPARE(FakeCocoa::posted[0].about, QString::number(QCoreApplication::applicationPid()));
}

void tst_MacInstance::aSilentInstanceDiffersFromNone()
{
    FakeCocoa::answersNotifications = false;
    FakeCocoa::running = {{.pid = 1, .bundle = bundle}};
    FakeCocoa::skipsWaits = true;
    QCOMPARE(MacInstance().handOver(Request::open), Instance::Answer::silent);
    FakeCocoa::running.clear();
    QCOMPARE(MacInstance().handOver(Request::open), Instance::Answer::notRunning);
}

void tst_MacInstance::noApplicationObjectIsNeeded()
{
    // It would add an icon to the Dock.
    QVERIFY(!MacInstance().needsApplication());
}

void tst_MacInstance::theProcessWithTheKeyAnswers_data()
{
    QTest::addColumn<bool>("ownsKey");
    QTest::newRow("it has it") << true;
    QTest::newRow("it has it not") << false;
}

void tst_MacInstance::theProcessWithTheKeyAnswers()
{
    QFETCH(const bool, ownsKey);
    MacInstance instance([ownsKey] { return ownsKey; });
    QVERIFY(instance.claim([](Request) {}));
    FakeCocoa::receive(bundle + u".request.hotKey"_s, u"77"_s);
    FakeCocoa::turn();
    QCOMPARE(FakeCocoa::posted.size(), ownsKey ? 1 : 0);
    if (ownsKey) {
        QCOMPARE(FakeCocoa::posted[0].name, bundle + u".answer"_s);
        QCOMPARE(FakeCocoa::posted[0].about, u"77"_s);
    }
}

void tst_MacInstance::aProcessThatIsNotThereHasNoKey()
{
    QVERIFY(!MacInstance::runningOwnsHotKey());
    QVERIFY(FakeCocoa::posted.isEmpty());
    FakeCocoa::running = {{.pid = 1, .bundle = bundle}};
    QVERIFY(MacInstance::runningOwnsHotKey());
    FakeCocoa::answersNotifications = false;
    FakeCocoa::skipsWaits = true;
    QVERIFY(!MacInstance::runningOwnsHotKey());
}

QTEST_GUILESS_MAIN(tst_MacInstance)
#include "tst_MacInstance.moc"
