#include "tests/support/ProgramHome.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

// The program with the small model that it was built with: the whole way from a user's words to an
// effect, without a model whose replies are known.
class tst_SmallModelTask : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_home.reset(); }

    void findsAFile();
    void asksBeforeItMovesAFileToTheBin();

private:
    std::unique_ptr<ProgramHome> m_home;
};

namespace {
const QString program = u"" QUILLON_PROGRAM ""_s;
// The first generation of a program on a busy machine.
constexpr int limit = 60'000;
} // namespace

void tst_SmallModelTask::init()
{
    m_home = std::make_unique<ProgramHome>();
    m_home->touch(u"Downloads/march.pdf"_s, 3600);
    m_home->touch(u"Downloads/april.pdf"_s, 60);
    m_home->touch(u"Downloads/notes.txt"_s);
}

void tst_SmallModelTask::findsAFile()
{
    Program quillon(program, {u"--small"_s, u"Find the latest PDF in my Downloads folder"_s},
                    m_home->options());
    QCOMPARE(quillon.waitForExit(limit), 0);
    QVERIFY2(quillon.output().contains(u"✓ Searching Downloads\n"), qPrintable(quillon.output()));
    QVERIFY2(quillon.output().section(u'✔', 1).contains(u"april.pdf"),
             qPrintable(quillon.output()));
    QCOMPARE(quillon.errors(), QString());
}

void tst_SmallModelTask::asksBeforeItMovesAFileToTheBin()
{
    Program quillon(program, {u"--small"_s, u"Move Downloads/march.pdf to the trash"_s},
                    m_home->options(Program::Input::terminal));
    QVERIFY2(quillon.waitForOutput("Move “Downloads/march.pdf” to the Trash [y/N] "),
             qPrintable(quillon.output()));
    quillon.answer("y\n");
    QCOMPARE(quillon.waitForExit(limit), 0);
    QVERIFY(!QFile::exists(m_home->path(u"Downloads/march.pdf"_s)));
    QVERIFY(QFile::exists(m_home->trashedPath(u"march.pdf"_s)));
}

QTEST_GUILESS_MAIN(tst_SmallModelTask)
#include "tst_SmallModelTask.moc"
