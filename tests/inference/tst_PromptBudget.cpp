#include "inference/PromptBudget.h"

#include <QTest>

#include <limits>
#include <numeric>

class tst_PromptBudget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsHeadAndTail_data();
    void keepsHeadAndTail();
    void refusesTooSmallABudget_data();
    void refusesTooSmallABudget();
};

namespace {
std::vector<std::int32_t> numbered(int count)
{
    std::vector<std::int32_t> tokens(static_cast<std::size_t>(count));
    std::iota(tokens.begin(), tokens.end(), 0);
    return tokens;
}
} // namespace

void tst_PromptBudget::keepsHeadAndTail_data()
{
    QTest::addColumn<int>("tokens");
    QTest::addColumn<int>("maxTokens");
    QTest::addColumn<int>("head");
    QTest::addColumn<int>("tail");

    QTest::newRow("short") << 10 << 200 << 10 << 0;
    QTest::newRow("empty") << 0 << 200 << 0 << 0;
    QTest::newRow("5,000 tokens") << 5000 << 256 << 900 << 2940;
    QTest::newRow("exactly fitting") << 3840 << 256 << 3840 << 0;
    QTest::newRow("one too many") << 3841 << 256 << 900 << 2940;
    QTest::newRow("half of a small budget") << 4000 << 3000 << 548 << 548;
    QTest::newRow("half of an odd budget") << 4000 << 2999 << 548 << 549;
    QTest::newRow("where the half exceeds the head") << 4096 << 2295 << 900 << 901;
    QTest::newRow("smallest budget") << 66 << 4031 << 32 << 33;
    QTest::newRow("a small prompt beside a large reply") << 64 << 4032 << 64 << 0;
    QTest::newRow("no reply") << 4097 << 0 << 900 << 3196;
    QTest::newRow("negative reply") << 4100 << -5 << 4100 << 0;
    QTest::newRow("most negative reply") << 5000 << std::numeric_limits<int>::min() << 5000 << 0;
}

void tst_PromptBudget::keepsHeadAndTail()
{
    QFETCH(const int, tokens);
    QFETCH(const int, maxTokens);
    QFETCH(const int, head);
    QFETCH(const int, tail);

    const std::vector<std::int32_t> all = numbered(tokens);
    std::vector<std::int32_t> kept = all;
    QVERIFY(PromptBudget::fit(kept, maxTokens));

    std::vector<std::int32_t> expected(all.begin(), all.begin() + head);
    expected.insert(expected.end(), all.end() - tail, all.end());
    QVERIFY(kept == expected);
}

void tst_PromptBudget::refusesTooSmallABudget_data()
{
    QTest::addColumn<int>("tokens");
    QTest::addColumn<int>("maxTokens");

    QTest::newRow("64 tokens left") << 65 << 4032;
    QTest::newRow("none left") << 1 << 4096;
    QTest::newRow("more than everything") << 1 << 5000;
    QTest::newRow("the largest reply") << 1 << std::numeric_limits<int>::max();
}

void tst_PromptBudget::refusesTooSmallABudget()
{
    QFETCH(const int, tokens);
    QFETCH(const int, maxTokens);

    std::vector<std::int32_t> prompt = numbered(tokens);
    QVERIFY(!PromptBudget::fit(prompt, maxTokens));
}

QTEST_APPLESS_MAIN(tst_PromptBudget)
#include "tst_PromptBudget.moc"
