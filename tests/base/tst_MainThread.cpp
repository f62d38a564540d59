#include "base/MainThread.h"

#include <QTest>
#include <QThread>

#include <thread>
#include <vector>

class tst_MainThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runsWorkOnTheMainThreadLater();
    void keepsTheOrderOfEachThread();
    void processesOtherEventsInBetween();
    void workMayPostMoreWork();
};

void tst_MainThread::runsWorkOnTheMainThreadLater()
{
    QThread *ranOn = nullptr;
    MainThread::post([&] { ranOn = QThread::currentThread(); });
    QVERIFY(ranOn == nullptr);
    QTRY_COMPARE(ranOn, thread());

    ranOn = nullptr;
    std::thread([&] { MainThread::post([&] { ranOn = QThread::currentThread(); }); }).join();
    QTRY_COMPARE(ranOn, thread());
}

void tst_MainThread::keepsTheOrderOfEachThread()
{
    constexpr int threads = 4;
    constexpr int posts = 500;
    std::vector<std::vector<int>> seen(threads);
    int total = 0;
    std::vector<std::thread> posters;
    posters.reserve(threads);
    for (int t = 0; t < threads; ++t) {
        posters.emplace_back([t, &seen, &total] {
            for (int i = 0; i < posts; ++i) {
                MainThread::post([t, i, &seen, &total] {
                    seen[std::size_t(t)].push_back(i);
                    ++total;
                });
            }
        });
    }
    QTRY_COMPARE(total, threads * posts);
    for (std::thread &poster : posters)
        poster.join();
    for (const std::vector<int> &order : seen) {
        for (int i = 0; i < posts; ++i)
            QCOMPARE(order[std::size_t(i)], i);
    }
}

void tst_MainThread::processesOtherEventsInBetween()
{
    QList<int> order;
    MainThread::post([&] { order << 1; });
    QMetaObject::invokeMethod(this, [&] { order << 2; }, Qt::QueuedConnection);
    MainThread::post([&] { order << 3; });
    QTRY_COMPARE(order.size(), 3);
    const QList<int> expected{1, 2, 3};
    QCOMPARE(order, expected);
}

void tst_MainThread::workMayPostMoreWork()
{
    int depth = 0;
    std::function<void()> again = [&] {
        if (++depth < 10)
            MainThread::post(again);
    };
    MainThread::post(again);
    QTRY_COMPARE(depth, 10);
}

QTEST_GUILESS_MAIN(tst_MainThread)
#include "tests/support/Waiting.h"
#include "tst_MainThread.moc"
