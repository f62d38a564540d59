#include "app/SingleInstance.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using Answer = Instance::Answer;
using Outcome = SingleInstance::Outcome;
using Request = Instance::Request;

class tst_SingleInstance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFirstStartReceivesLaterRequests();
    void laterStartsSendTheirRequests_data();
    void laterStartsSendTheirRequests();
    void anEndedInstanceIsReplaced();
    void aSilentInstanceIsNotAskedAgain();
    void givesUpIfInstancesKeepChanging();
};

void tst_SingleInstance::theFirstStartReceivesLaterRequests()
{
    const FakePlatform platform;
    QList<Request> heard;
    const auto received = [&](Request request) { heard.append(request); };
    QCOMPARE(SingleInstance::settle(received, Request::open), Outcome::isOurs);
    QVERIFY(heard.isEmpty());
    platform.fakeInstance.request(Request::toggle);
    QCOMPARE(heard, QList{Request::toggle});
}

void tst_SingleInstance::laterStartsSendTheirRequests_data()
{
    QTest::addColumn<Request>("request");

    QTest::newRow("open") << Request::open;
    QTest::newRow("toggle") << Request::toggle;
}

void tst_SingleInstance::laterStartsSendTheirRequests()
{
    QFETCH(const Request, request);
    FakePlatform platform;
    platform.fakeInstance.answers = {Answer::taken};
    QCOMPARE(SingleInstance::settle({}, request), Outcome::handedOver);
    QCOMPARE(platform.fakeInstance.requests, QList{request});
    QCOMPARE(platform.fakeInstance.claims, 1);
}

void tst_SingleInstance::anEndedInstanceIsReplaced()
{
    FakePlatform platform;
    platform.fakeInstance.answers = {Answer::notRunning};
    QCOMPARE(SingleInstance::settle({}, Request::open), Outcome::isOurs);
    QCOMPARE(platform.fakeInstance.claims, 2);

    // Another start was quicker.
    platform.fakeInstance.answers = {Answer::notRunning, Answer::taken};
    QCOMPARE(SingleInstance::settle({}, Request::open), Outcome::handedOver);
}

void tst_SingleInstance::aSilentInstanceIsNotAskedAgain()
{
    FakePlatform platform;
    platform.fakeInstance.answers = {Answer::silent, Answer::taken};
    QCOMPARE(SingleInstance::settle({}, Request::open), Outcome::silent);
    QCOMPARE(platform.fakeInstance.requests.size(), 1);
}

void tst_SingleInstance::givesUpIfInstancesKeepChanging()
{
    FakePlatform platform;
    platform.fakeInstance.answers = QList<Answer>(100, Answer::notRunning);
    QCOMPARE(SingleInstance::settle({}, Request::open), Outcome::silent);
    QCOMPARE(platform.fakeInstance.claims, 5);
}

QTEST_GUILESS_MAIN(tst_SingleInstance)
#include "tst_SingleInstance.moc"
