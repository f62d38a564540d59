#include "models/LocalModel.h"
#include "models/ModelStore.h"
#include "tests/app/ProgramFixture.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

// The real program as a user starts it, with the real engine, a real model file and real files, in
// a private home folder.
class tst_Program : public ProgramFixture
{
    Q_OBJECT

private Q_SLOTS:
    void performsWhatTheModelGenerates();
    void aTextAloneIsATask();
    void readsATaskFromItsInput();
    void aTaskFromTheInputHasABound();
    void printsAnObjectALineForPrograms();
    void takesAFileThatTheUserHas();
    void takesNoFileThatIsNoModel_data();
    void takesNoFileThatIsNoModel();
    void listsAndRemovesModels();
    void startsAtLoginOnRequest();
    void saysInOneSentenceThatThereIsNoModel();
    void saysInOneSentenceThatTheModelFileIsBroken();
    void showsControlCharactersInsteadOfObeyingThem();
    void isStartedAgainAfterBeingKilledAtAnyMoment();
};

void tst_Program::performsWhatTheModelGenerates()
{
    m_home->touch(u"Downloads/old.pdf"_s, 3600);
    m_home->touch(u"Downloads/Latest Report.PDF"_s, 60);
    m_home->touch(u"Downloads/notes.txt"_s);
    giveModel({uR"({"action":"find_files","folder":"Downloads","extension":"PDF"})"_s,
               uR"({"action":"create_folder","in":"Desktop"})"_s,
               uR"({"action":"done","message":"Your latest PDF is Latest Report.PDF."})"_s});

    Program quillon(program, taskArguments(u" Find the latest PDF in my Downloads folder "_s),
                    options());
    QCOMPARE(quillon.waitForExit(), 0);
    QCOMPARE(quillon.output(), u"Find the latest PDF in my Downloads folder\n"
                               "  ✓ Searching Downloads\n"
                               "  ✗ Creating folder “” — Missing folder name.\n"
                               "  ✔ Your latest PDF is Latest Report.PDF.\n"_s);
    QCOMPARE(quillon.errors(), QString());
}

void tst_Program::aTextAloneIsATask()
{
    giveModel({uR"({"action":"done","message":"Fine."})"_s});
    Program quillon(program, {u"Find the latest PDF"_s}, options());
    QCOMPARE(quillon.waitForExit(), 0);
    QCOMPARE(quillon.output(), u"Find the latest PDF\n  ✔ Fine.\n"_s);
    QCOMPARE(quillon.errors(), QString());
}

void tst_Program::readsATaskFromItsInput()
{
    giveModel({uR"({"action":"done","message":"Fine."})"_s});
    for (const QString &arguments : {u"--task -"_s, u"-"_s}) {
        Program shell(u"/bin/sh"_s,
                      {u"-c"_s, u"printf ' Find it\\n\\n' | '%1' %2"_s.arg(program, arguments)},
                      options());
        QCOMPARE(shell.waitForExit(), 0);
        QCOMPARE(shell.output(), u"Find it\n  ✔ Fine.\n"_s);
    }
    Program empty(program, taskArguments(u"-"_s), options());
    QCOMPARE(empty.waitForExit(), 1);
    QCOMPARE(empty.errors(), u"The task is empty.\n"_s);
}

void tst_Program::aTaskFromTheInputHasABound()
{
    Program shell(u"/bin/sh"_s, {u"-c"_s, u"yes | '%1' --task -"_s.arg(program)}, options());
    QCOMPARE(shell.waitForExit(), 1);
    QCOMPARE(shell.output(), QString());
    QCOMPARE(shell.errors(), u"The task is too long.\n"_s);

    // Blanks, so that no task begins if they are not too many.
    const auto answerTo = [&](int blanks) {
        Program quillon(u"/bin/sh"_s,
                        {u"-c"_s, u"printf '%%2s' '' | '%1' --task -"_s.arg(program).arg(blanks)},
                        options());
        (void)quillon.waitForExit();
        return quillon.errors();
    };
    QCOMPARE(answerTo(64 * 1024), u"The task is empty.\n"_s);
    QCOMPARE(answerTo(64 * 1024 + 1), u"The task is too long.\n"_s);
}

void tst_Program::printsAnObjectALineForPrograms()
{
    m_home->touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"create_folder","in":"Desktop"})"_s,
               uR"({"action":"trash","path":"Downloads/old.tar"})"_s});
    Program quillon(program, {u"--json"_s, u"Throw \u202eold.tar away"_s}, options());
    QCOMPARE(quillon.waitForExit(), 1);
    const QStringList records{
        u"{\"kind\":\"task\",\"text\":\"Throw \\u202eold.tar away\"}"_s,
        u"{\"kind\":\"failure\",\"text\":\"Creating folder \\u201c\\u201d \\u2014 Missing folder "
        "name.\"}"_s,
        u"{\"kind\":\"confirm\",\"text\":\"Move \\u201cDownloads/old.tar\\u201d to the Trash\"}"_s,
        u"{\"kind\":\"failure\",\"text\":\"Declined: Moving \\u201cDownloads/old.tar\\u201d to "
        "Trash\"}"_s,
        u"{\"kind\":\"summary\",\"text\":\"I didn't do that, as requested.\"}"_s};
    QCOMPARE(quillon.output().split(u'\n', Qt::SkipEmptyParts), records);
    QCOMPARE(quillon.errors(), QString());
}

void tst_Program::takesAFileThatTheUserHas()
{
    const QString source = m_home->path(u"Downloads/mine.gguf"_s);
    giveModel({uR"({"action":"done","message":"Fine."})"_s});
    QVERIFY(QDir().rename(m_home->modelPath(m_home->modelFiles().first()), source));
    const qint64 size = QFileInfo(source).size();
    Program import(program, {u"--import"_s, source}, options());
    QCOMPARE(import.waitForExit(), 0);
    QCOMPARE(import.output(),
             u"Qwen2.5 1.5B Instruct is there now: %1, linked, so it takes no more room.\n"
             "Its usual size is about 986 MB: this is another model under its name.\n"_s.arg(
                 ModelStore::sizeText(size)));
    QCOMPARE(import.errors(), QString());
    QCOMPARE(m_home->modelFiles(), QStringList{LocalModel::catalog().first().fileName});
    Program quillon(program, {u"Do it"_s}, options());
    QCOMPARE(quillon.waitForExit(), 0);
}

void tst_Program::takesNoFileThatIsNoModel_data()
{
    QTest::addColumn<bool>("isCutShort");
    QTest::newRow("something else") << false;
    QTest::newRow("a model that is cut short") << true;
}

void tst_Program::takesNoFileThatIsNoModel()
{
    QFETCH(const bool, isCutShort);
    const QString source = m_home->path(u"Downloads/mine.gguf"_s);
    m_home->touch(u"Downloads/mine.gguf"_s);
    giveModel({uR"({"action":"done","message":"Fine."})"_s});
    const QString place = m_home->modelPath(m_home->modelFiles().first());
    if (isCutShort) {
        QVERIFY(QFile::remove(source) && QFile::copy(place, source));
        QVERIFY(QFile::resize(source, QFileInfo(source).size() / 2));
    }
    const qint64 size = QFileInfo(place).size();
    Program import(program, {u"--import"_s, source}, options());
    QCOMPARE(import.waitForExit(), 1);
    QCOMPARE(import.output(), QString());
    QCOMPARE(import.errors(),
             u"“%1” cannot be used: Couldn't load the model file.\n"_s.arg(source));
    // The working file is kept.
    QCOMPARE(QFileInfo(place).size(), size);
}

void tst_Program::listsAndRemovesModels()
{
    m_home->touch(m_home->modelPath(u"other.gguf"_s));
    m_home->touch(m_home->modelPath(u"Llama-3.2-3B-Instruct-Q4_K_M.gguf"_s));
    const auto run = [&](const QStringList &arguments) {
        Program quillon(program, QStringList{u"--models"_s} + arguments, options());
        const std::optional<int> status = quillon.waitForExit();
        return quillon.errors().isEmpty() && status == 0 ? quillon.output() : quillon.errors();
    };
    QCOMPARE(run({}), QFileInfo(m_home->modelPath(u"other.gguf"_s)).path() +
                          u"\n"
                          "  – Qwen2.5 1.5B Instruct (qwen2.5-1.5b): not there, about 986 MB to "
                          "fetch, chosen\n"
                          "  ✓ Llama 3.2 3B Instruct (llama3.2-3b): 7 bytes\n"
                          "  · other.gguf: 7 bytes, not used\n"_s);
    QCOMPARE(run({u"remove"_s, u"llama3.2-3b"_s}),
             u"Removed “Llama-3.2-3B-Instruct-Q4_K_M.gguf”.\n"_s);
    QCOMPARE(run({u"remove"_s, u"other.gguf"_s}), u"Removed “other.gguf”.\n"_s);
    QCOMPARE(m_home->modelFiles(), QStringList());
}

void tst_Program::startsAtLoginOnRequest()
{
    const auto run = [&](const QString &value) {
        Program quillon(program, {u"--autostart"_s, value}, options());
        (void)quillon.waitForExit();
        return quillon.output() + quillon.errors();
    };
    const auto files = [&] {
        QStringList all;
        for (const QString &folder : {u"config/autostart"_s, u"Library/LaunchAgents"_s})
            all += QDir(m_home->path(folder)).entryList(QDir::Files);
        return all;
    };
    QCOMPARE(run(u"on"_s), u"Quillon starts at login.\n"_s);
    QCOMPARE(files().size(), 1);
    QVERIFY(files().first().startsWith(u"app.quillon.Quillon."));
    QCOMPARE(run(u"off"_s), u"Quillon does not start at login.\n"_s);
    QCOMPARE(files(), QStringList());
    QCOMPARE(run(u"maybe"_s), u"--autostart is followed by on or off.\n"_s);
}

void tst_Program::saysInOneSentenceThatThereIsNoModel()
{
    Program quillon(installed(), taskArguments(u"Find the latest PDF"_s), options());
    QCOMPARE(quillon.waitForExit(), 1);
    QCOMPARE(quillon.output(), QString());
    const QStringList lines = quillon.errors().split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines[0], u"Downloading Qwen2.5 1.5B Instruct (~986 MB), once."_s);
    QVERIFY2(lines[1].startsWith(u"Qwen2.5 1.5B Instruct isn't ready: "_s), qPrintable(lines[1]));
    QCOMPARE(m_home->modelFiles(), QStringList());
}

void tst_Program::saysInOneSentenceThatTheModelFileIsBroken()
{
    m_home->touch(m_home->modelPath(LocalModel::catalog().first().fileName));
    Program quillon(program, taskArguments(u"Find the latest PDF"_s), options());
    QCOMPARE(quillon.waitForExit(), 1);
    QCOMPARE(quillon.output(), QString());
    QCOMPARE(quillon.errors(),
             u"Qwen2.5 1.5B Instruct isn't ready: Couldn't load the model file.\n"_s);
}

void tst_Program::showsControlCharactersInsteadOfObeyingThem()
{
    giveModel({uR"({"action":"done","message":"\u001b[2J\u202eevil\u0007"})"_s});
    Program quillon(program, taskArguments(u"Say something"_s), options());
    QCOMPARE(quillon.waitForExit(), 0);
    QCOMPARE(quillon.output(), u"Say something\n  ✔ \ufffd[2J\ufffdevil\ufffd\n"_s);
}

void tst_Program::isStartedAgainAfterBeingKilledAtAnyMoment()
{
    m_home->touch(u"Downloads/a.pdf"_s);
    giveModel({uR"({"action":"find_files","folder":"Downloads","extension":".pdf"})"_s,
               uR"({"action":"done","message":"Found it."})"_s});
    const QStringList files = m_home->modelFiles();
    for (int milliseconds = 0; milliseconds < 120; milliseconds += 8) {
        Program quillon(program, taskArguments(u"Find a PDF"_s), options());
        [[maybe_unused]] const auto ended = quillon.waitForExit(milliseconds);
        quillon.signal(SIGKILL);
        QVERIFY(quillon.waitForExit());
        QCOMPARE(m_home->modelFiles(), files);
    }
    Program quillon(program, taskArguments(u"Find a PDF"_s), options());
    QCOMPARE(quillon.waitForExit(), 0);
}

QTEST_GUILESS_MAIN(tst_Program)
#include "tst_Program.moc"
