#include "tests/app/ProgramFixture.h"

#include <QFile>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

// How the program asks in a terminal before a risky step, and which answers count.
class tst_ProgramApproval : public ProgramFixture
{
    Q_OBJECT

private Q_SLOTS:
    void declinesWhatNobodyCanBeAskedAbout();
    void asksBeforeARiskyStep_data();
    void asksBeforeARiskyStep();
    void asksBesideWhatProgramsRead();
    void anAnswerFromBeforeTheQuestionIsNone();
    void anAnswerThatComesAtOnceIsNone_data();
    void anAnswerThatComesAtOnceIsNone();
    void whatWasTypedMeanwhileIsDroppedAtTheEnd();
    void ctrlCWhileItAsksDeclinesAndEndsTheTask();
    void outlivesItsTerminalWhereItIsTold();
};

void tst_ProgramApproval::declinesWhatNobodyCanBeAskedAbout()
{
    m_home->touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s,
               uR"({"action":"done","message":"Gone."})"_s});
    Program quillon(program, taskArguments(u"Throw old.tar away"_s), options());
    QCOMPARE(quillon.waitForExit(), 1);
    QCOMPARE(quillon.output(),
             u"Throw old.tar away\n"
             "  ? Move “Downloads/old.tar” to the Trash [y/N] — no terminal to ask on\n"
             "  ✗ Declined: Moving “Downloads/old.tar” to Trash\n"
             "I didn't do that, as requested.\n"_s);
    QVERIFY(QFile::exists(m_home->path(u"Downloads/old.tar"_s)));
}

void tst_ProgramApproval::asksBeforeARiskyStep_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("isApproved");

    QTest::newRow("y") << QByteArray("y\n") << true;
    QTest::newRow("Yes") << QByteArray(" Yes \n") << true;
    QTest::newRow("n") << QByteArray("n\n") << false;
    QTest::newRow("Return alone") << QByteArray("\n") << false;
    QTest::newRow("something else") << QByteArray("yesterday\n") << false;
    QTest::newRow("end of input") << QByteArray("\x04") << false;
}

void tst_ProgramApproval::asksBeforeARiskyStep()
{
    QFETCH(const QByteArray, answer);
    QFETCH(const bool, isApproved);
    m_home->touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s,
               uR"({"action":"done","message":"Gone."})"_s});

    Program quillon(program, taskArguments(u"Throw old.tar away"_s),
                    options(Program::Input::terminal));
    QVERIFY2(quillon.waitForOutput("Move “Downloads/old.tar” to the Trash [y/N] "),
             qPrintable(quillon.output()));
    QVERIFY(QFile::exists(m_home->path(u"Downloads/old.tar"_s)));
    quillon.answer(answer);
    QCOMPARE(quillon.waitForExit(), isApproved ? 0 : 1);
    QCOMPARE(QFile::exists(m_home->path(u"Downloads/old.tar"_s)), !isApproved);
    QCOMPARE(QFile::exists(m_home->trashedPath(u"old.tar"_s)), isApproved);
    QVERIFY(quillon.output().contains(isApproved ? u"  ✔ Gone.\n"_s
                                                 : u"I didn't do that, as requested.\n"_s));
}

void tst_ProgramApproval::asksBesideWhatProgramsRead()
{
    m_home->touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s,
               uR"({"action":"done","message":"Gone."})"_s});
    Program shell(u"/bin/sh"_s, {u"-c"_s, u"'%1' --json 'Throw it away' >records"_s.arg(program)},
                  options(Program::Input::terminal));
    QVERIFY(shell.waitForOutput("  ? Move “Downloads/old.tar” to the Trash [y/N] "));
    shell.answer("y\n");
    QCOMPARE(shell.waitForExit(), 0);
    QVERIFY(!shell.output().contains(u'{'));
    QVERIFY(!QFile::exists(m_home->path(u"Downloads/old.tar"_s)));
}

void tst_ProgramApproval::anAnswerFromBeforeTheQuestionIsNone()
{
    m_home->touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s});
    Program::Options impatient = options(Program::Input::terminal);
    impatient.typedAhead = "y\n";
    Program quillon(program, taskArguments(u"Throw old.tar away"_s), impatient);
    QVERIFY(quillon.waitForOutput("[y/N] "));
    QVERIFY(!quillon.waitForExit(500));
    quillon.answer("n\n");
    QCOMPARE(quillon.waitForExit(), 1);
    QVERIFY(QFile::exists(m_home->path(u"Downloads/old.tar"_s)));
}

void tst_ProgramApproval::anAnswerThatComesAtOnceIsNone_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::newRow("a line") << "y\n"_ba;
    QTest::newRow("a line without its end") << "y"_ba;
    QTest::newRow("several lines") << "n\ny\n"_ba;
}

void tst_ProgramApproval::anAnswerThatComesAtOnceIsNone()
{
    QFETCH(const QByteArray, keys);
    m_home->touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s});
    Program quillon(program, taskArguments(u"Throw old.tar away"_s),
                    options(Program::Input::terminal));
    const QByteArray question = "Move “Downloads/old.tar” to the Trash [y/N] ";
    QVERIFY(quillon.waitForOutput(question));
    quillon.type(keys);
    // It asks once more and then accepts an answer.
    QVERIFY(quillon.waitForOutput(question + "\n  ? " + question));
    QVERIFY(QFile::exists(m_home->path(u"Downloads/old.tar"_s)));
    quillon.answer("\n");
    QCOMPARE(quillon.waitForExit(), 1);
    QVERIFY(QFile::exists(m_home->path(u"Downloads/old.tar"_s)));
}

// Otherwise, the shell would run it.
void tst_ProgramApproval::whatWasTypedMeanwhileIsDroppedAtTheEnd()
{
    giveModel({uR"({"action":"done","message":"Fine."})"_s});
    Program shell(u"/bin/sh"_s, {u"-c"_s, u"'"_s + program + u"' --task Wait; echo read:; cat"_s},
                  options(Program::Input::terminal));
    QVERIFY(shell.waitForOutput("Wait"));
    shell.type("touch x\n");
    QVERIFY(shell.waitForOutput("read:"));
    shell.type("later\n\x04");
    QCOMPARE(shell.waitForExit(), 0);
    QVERIFY2(shell.output().endsWith(u"read:\nlater\n"_s), qPrintable(shell.output()));
}

void tst_ProgramApproval::ctrlCWhileItAsksDeclinesAndEndsTheTask()
{
    m_home->touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s});
    Program quillon(program, taskArguments(u"Throw old.tar away"_s),
                    options(Program::Input::terminal));
    QVERIFY(quillon.waitForOutput("[y/N] "));
    quillon.type("\x03");
    QCOMPARE(quillon.waitForExit(), 128 + SIGINT);
    QVERIFY(quillon.output().contains(u"Declined: Moving “Downloads/old.tar” to Trash"_s));
    QVERIFY(QFile::exists(m_home->path(u"Downloads/old.tar"_s)));
}

void tst_ProgramApproval::outlivesItsTerminalWhereItIsTold()
{
    m_home->touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s});
    Program::Options nohup = options(Program::Input::terminal);
    nohup.isNohup = true;
    Program quillon(program, taskArguments(u"Throw old.tar away"_s), nohup);
    QVERIFY(quillon.waitForOutput("[y/N] "));
    quillon.signal(SIGHUP);
    QVERIFY(!quillon.waitForExit(500));
    quillon.answer("n\n");
    QCOMPARE(quillon.waitForExit(), 1);
}

QTEST_GUILESS_MAIN(tst_ProgramApproval)
#include "tst_ProgramApproval.moc"
