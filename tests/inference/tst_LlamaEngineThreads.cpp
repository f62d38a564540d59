#include "tests/inference/LlamaEngineFixture.h"

#include <QDir>

#include <sched.h>

class tst_LlamaEngineThreads : public LlamaEngineFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void computesOnNoMoreThreadsThanProcessors_data();
    void computesOnNoMoreThreadsThanProcessors();
    void cleanup();

private:
    cpu_set_t m_processors{};
};

namespace {
qsizetype threadsOfThisProcess()
{
    return QDir(u"/proc/self/task"_s).entryList(QDir::NoDotAndDotDot | QDir::Dirs).size();
}
} // namespace

void tst_LlamaEngineThreads::initTestCase()
{
    QCOMPARE(sched_getaffinity(0, sizeof(m_processors), &m_processors), 0);
}

void tst_LlamaEngineThreads::cleanup()
{
    QCOMPARE(sched_setaffinity(0, sizeof(m_processors), &m_processors), 0);
}

void tst_LlamaEngineThreads::computesOnNoMoreThreadsThanProcessors_data()
{
    QTest::addColumn<int>("processors");
    QTest::addColumn<int>("helpers");

    QTest::newRow("one") << 1 << 0;
    if (CPU_COUNT(&m_processors) >= 2)
        QTest::newRow("two") << 2 << 1;
    if (CPU_COUNT(&m_processors) > 4)
        QTest::newRow("more than the library asks for") << CPU_COUNT(&m_processors) << 3;
}

void tst_LlamaEngineThreads::computesOnNoMoreThreadsThanProcessors()
{
    QFETCH(const int, processors);
    QFETCH(const int, helpers);

    cpu_set_t few;
    CPU_ZERO(&few);
    for (int number = 0; CPU_COUNT(&few) < processors; ++number) {
        if (CPU_ISSET(number, &m_processors))
            CPU_SET(number, &few);
    }
    QCOMPARE(sched_setaffinity(0, sizeof(few), &few), 0);

    LlamaEngine engine; // its thread inherits the processors
    load(engine, TestModel::saying({"Hello there."}));
    const qsizetype before = threadsOfThisProcess();
    QCOMPARE(reply(engine, asking(u"Greet"_s)), u"Hello there."_s);
    QCOMPARE(threadsOfThisProcess() - before, helpers);
}

QTEST_GUILESS_MAIN(tst_LlamaEngineThreads)
#include "tst_LlamaEngineThreads.moc"
