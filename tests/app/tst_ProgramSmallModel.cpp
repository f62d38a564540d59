#include "tests/app/ProgramFixture.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The small model that comes along with the program, as a model file with known replies in its
// place.
class tst_ProgramSmallModel : public ProgramFixture
{
    Q_OBJECT

private Q_SLOTS:
    void theSmallModelIsUsedByName();
    void theSmallModelMayNotHaveComeAlong();
    void namesTheSmallModelIfTheDownloadFails();
};

void tst_ProgramSmallModel::theSmallModelIsUsedByName()
{
    const QString copy = installed();
    writeModel(smallModelPath(), {uR"({"action":"done","message":"Small."})"_s});
    for (int run = 0; run < 2; ++run) {
        Program quillon(copy, {u"--small"_s, u"Find the latest PDF"_s}, options());
        QCOMPARE(quillon.waitForExit(), 0);
        QCOMPARE(quillon.output(), u"Find the latest PDF\n  ✔ Small.\n"_s);
        QCOMPARE(quillon.errors(), QString());
        // It is not used in place of a model that the user has.
        giveModel({uR"({"action":"done","message":"Chosen."})"_s});
    }
    Program other(copy, {u"Find the latest PDF"_s}, options());
    QCOMPARE(other.waitForExit(), 0);
    QCOMPARE(other.output(), u"Find the latest PDF\n  ✔ Chosen.\n"_s);
}

void tst_ProgramSmallModel::theSmallModelMayNotHaveComeAlong()
{
    giveModel({uR"({"action":"done","message":"Chosen."})"_s});
    const QString copy = installed();
    for (int run = 0; run < 2; ++run) {
        Program quillon(copy, {u"--small"_s, u"Find the latest PDF"_s}, options());
        QCOMPARE(quillon.waitForExit(), 1);
        QCOMPARE(quillon.output(), QString());
        QCOMPARE(quillon.errors(),
                 u"No small model came with this Quillon: give the task without --small.\n"_s);
        // A folder of its name is no model.
        QVERIFY(QDir().mkpath(smallModelPath()));
    }
}

void tst_ProgramSmallModel::namesTheSmallModelIfTheDownloadFails()
{
    const QString copy = installed();
    m_home->touch(smallModelPath());
    Program quillon(copy, taskArguments(u"Find the latest PDF"_s), options());
    QCOMPARE(quillon.waitForExit(), 1);
    const QStringList lines = quillon.errors().split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 3);
    QVERIFY2(lines[1].startsWith(u"Qwen2.5 1.5B Instruct isn't ready: "_s), qPrintable(lines[1]));
    QCOMPARE(lines[2], u"Quillon Small came along and needs no download: try it with --small."_s);
}

QTEST_GUILESS_MAIN(tst_ProgramSmallModel)
#include "tst_ProgramSmallModel.moc"
