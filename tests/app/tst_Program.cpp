#include "models/LocalModel.h"
#include "models/ModelStore.h"
#include "tests/support/Program.h"
#include "tests/support/TestModel.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

// The real program as a user starts it, with the real engine, a real model file and real files, in
// a private home folder. The replies differ from the examples in the system prompt, which the test
// model would otherwise take for replies that it has given.
class tst_Program : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void performsWhatTheModelGenerates();
    void aTextAloneIsATask();
    void readsATaskFromItsInput();
    void aTaskFromTheInputHasABound();
    void printsAnObjectALineForPrograms();
    void asksBesideWhatProgramsRead();
    void takesAFileThatTheUserHas();
    void takesNoFileThatIsNoModel_data();
    void takesNoFileThatIsNoModel();
    void listsAndRemovesModels();
    void theSmallModelIsUsedByName();
    void theSmallModelMayNotHaveComeAlong();
    void startsAtLoginOnRequest();
    void saysInOneSentenceThatThereIsNoModel();
    void namesTheSmallModelIfTheDownloadFails();
    void saysInOneSentenceThatTheModelFileIsBroken();
    void saysInOneSentenceWhatItNeeds_data();
    void saysInOneSentenceWhatItNeeds();
    void declinesWhatNobodyCanBeAskedAbout();
    void asksBeforeARiskyStep_data();
    void asksBeforeARiskyStep();
    void anAnswerFromBeforeTheQuestionIsNone();
    void anAnswerThatComesAtOnceIsNone_data();
    void anAnswerThatComesAtOnceIsNone();
    void whatWasTypedMeanwhileIsDroppedAtTheEnd();
    void ctrlCWhileItAsksDeclinesAndEndsTheTask();
    void outlivesItsTerminalWhereItIsTold();
    void showsControlCharactersInsteadOfObeyingThem();
    void isStartedAgainAfterBeingKilledAtAnyMoment();

private:
    [[nodiscard]] QString home(const QString &path = {}) const;
    void touch(const QString &path, qint64 secondsAgo = 0) const;
    void giveModel(const QStringList &replies) const;
    void writeModel(const QString &path, const QStringList &replies) const;
    [[nodiscard]] QString installed() const;
    [[nodiscard]] Program::Options options(Program::Input input = Program::Input::nothing) const;
    [[nodiscard]] QStringList modelFiles() const;

    std::unique_ptr<QTemporaryDir> m_home;
};

namespace {
const QString program = u"" QUILLON_PROGRAM ""_s;
#ifdef Q_OS_MACOS
const QString resources = u"Resources"_s;
#else
const QString resources = u"share/quillon"_s;
#endif

QStringList taskArguments(const QString &task)
{
    return {u"--task"_s, task};
}
} // namespace

void tst_Program::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    QVERIFY(m_home->isValid());
    for (const QString &folder : {u"Downloads"_s, u"Desktop"_s, u"models/Quillon/Models"_s})
        QVERIFY(QDir(m_home->path()).mkpath(folder));
}

void tst_Program::cleanup()
{
    m_home.reset();
}

QString tst_Program::home(const QString &path) const
{
    return m_home->filePath(path);
}

void tst_Program::touch(const QString &path, qint64 secondsAgo) const
{
    QFile file(home(path));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("content");
    QVERIFY(file.flush());
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-secondsAgo),
                             QFileDevice::FileModificationTime));
}

void tst_Program::giveModel(const QStringList &replies) const
{
    writeModel(u"models/Quillon/Models/"_s + LocalModel::catalog().first().fileName, replies);
}

void tst_Program::writeModel(const QString &path, const QStringList &replies) const
{
    QList<QByteArray> texts;
    for (const QString &reply : replies)
        texts << reply.toUtf8();
    TestModel::saying(texts).write(home(path));
}

// A copy of the program in a folder of its own, with nothing beside it yet.
QString tst_Program::installed() const
{
    const QString copy = home(u"installed/bin/quillon"_s);
    if (!QDir().mkpath(QFileInfo(copy).path()) ||
        !QDir().mkpath(home(u"installed/"_s + resources)) || !QFile::copy(program, copy)) {
        qFatal("The program cannot be copied.");
    }
    return copy;
}

Program::Options tst_Program::options(Program::Input input) const
{
    return {.environment = {{u"HOME"_s, home()},
                            {u"PATH"_s, qEnvironmentVariable("PATH")},
                            {u"XDG_DATA_HOME"_s, home(u"models"_s)},
                            {u"XDG_CONFIG_HOME"_s, home(u"config"_s)},
                            {u"XDG_CACHE_HOME"_s, home(u"cache"_s)},
                            {u"ASAN_OPTIONS"_s, qEnvironmentVariable("ASAN_OPTIONS")},
                            {u"LSAN_OPTIONS"_s, qEnvironmentVariable("LSAN_OPTIONS")},
                            {u"TSAN_OPTIONS"_s, qEnvironmentVariable("TSAN_OPTIONS")},
                            {u"LC_ALL"_s, u"C.UTF-8"_s}},
            .input = input,
            .hasNetwork = false};
}

QStringList tst_Program::modelFiles() const
{
    return QDir(home(u"models/Quillon/Models"_s))
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

void tst_Program::performsWhatTheModelGenerates()
{
    touch(u"Downloads/old.pdf"_s, 3600);
    touch(u"Downloads/Latest Report.PDF"_s, 60);
    touch(u"Downloads/notes.txt"_s);
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
}

void tst_Program::printsAnObjectALineForPrograms()
{
    touch(u"Downloads/old.tar"_s);
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

void tst_Program::asksBesideWhatProgramsRead()
{
    touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s,
               uR"({"action":"done","message":"Gone."})"_s});
    Program shell(u"/bin/sh"_s, {u"-c"_s, u"'%1' --json 'Throw it away' >records"_s.arg(program)},
                  options(Program::Input::terminal));
    QVERIFY(shell.waitForOutput("  ? Move “Downloads/old.tar” to the Trash [y/N] "));
    shell.answer("y\n");
    QCOMPARE(shell.waitForExit(), 0);
    QVERIFY(!shell.output().contains(u'{'));
    QVERIFY(!QFile::exists(home(u"Downloads/old.tar"_s)));
}

void tst_Program::takesAFileThatTheUserHas()
{
    const QString source = home(u"Downloads/mine.gguf"_s);
    giveModel({uR"({"action":"done","message":"Fine."})"_s});
    QVERIFY(QDir().rename(home(u"models/Quillon/Models/"_s + modelFiles().first()), source));
    const qint64 size = QFileInfo(source).size();
    Program import(program, {u"--import"_s, source}, options());
    QCOMPARE(import.waitForExit(), 0);
    QCOMPARE(import.output(),
             u"Qwen2.5 1.5B Instruct is there now: %1, linked, so it takes no more room.\n"
             "Its usual size is about 986 MB: this is another model under its name.\n"_s.arg(
                 ModelStore::sizeText(size)));
    QCOMPARE(import.errors(), QString());
    QCOMPARE(modelFiles(), QStringList{LocalModel::catalog().first().fileName});
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
    QFETCH(bool, isCutShort);
    const QString source = home(u"Downloads/mine.gguf"_s);
    touch(u"Downloads/mine.gguf"_s);
    giveModel({uR"({"action":"done","message":"Fine."})"_s});
    const QString place = home(u"models/Quillon/Models/"_s + modelFiles().first());
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
    const QString folder = home(u"models/Quillon/Models"_s);
    touch(u"models/Quillon/Models/other.gguf"_s);
    touch(u"models/Quillon/Models/Llama-3.2-3B-Instruct-Q4_K_M.gguf"_s);
    const auto run = [&](const QStringList &arguments) {
        Program quillon(program, QStringList{u"--models"_s} + arguments, options());
        const std::optional<int> status = quillon.waitForExit();
        return quillon.errors().isEmpty() && status == 0 ? quillon.output() : quillon.errors();
    };
    QCOMPARE(run({}), folder +
                          u"\n"
                          "  – Qwen2.5 1.5B Instruct (qwen2.5-1.5b): not there, about 986 MB to "
                          "fetch, chosen\n"
                          "  ✓ Llama 3.2 3B Instruct (llama3.2-3b): 7 bytes\n"
                          "  · other.gguf: 7 bytes, not used\n"_s);
    QCOMPARE(run({u"remove"_s, u"llama3.2-3b"_s}),
             u"Removed “Llama-3.2-3B-Instruct-Q4_K_M.gguf”.\n"_s);
    QCOMPARE(run({u"remove"_s, u"other.gguf"_s}), u"Removed “other.gguf”.\n"_s);
    QCOMPARE(modelFiles(), QStringList());
}

void tst_Program::theSmallModelIsUsedByName()
{
    const QString copy = installed();
    writeModel(u"installed/%1/small-model.gguf"_s.arg(resources),
               {uR"({"action":"done","message":"Small."})"_s});
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

void tst_Program::theSmallModelMayNotHaveComeAlong()
{
    giveModel({uR"({"action":"done","message":"Chosen."})"_s});
    Program quillon(installed(), {u"--small"_s, u"Find the latest PDF"_s}, options());
    QCOMPARE(quillon.waitForExit(), 1);
    QCOMPARE(quillon.output(), QString());
    QCOMPARE(quillon.errors(),
             u"No small model came with this Quillon: give the task without --small.\n"_s);
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
            all += QDir(home(folder)).entryList(QDir::Files);
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
    QCOMPARE(modelFiles(), QStringList());
}

void tst_Program::namesTheSmallModelIfTheDownloadFails()
{
    const QString copy = installed();
    touch(u"installed/%1/small-model.gguf"_s.arg(resources));
    Program quillon(copy, taskArguments(u"Find the latest PDF"_s), options());
    QCOMPARE(quillon.waitForExit(), 1);
    const QStringList lines = quillon.errors().split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 3);
    QVERIFY2(lines[1].startsWith(u"Qwen2.5 1.5B Instruct isn't ready: "_s), qPrintable(lines[1]));
    QCOMPARE(lines[2], u"Quillon Small came along and needs no download: try it with --small."_s);
}

void tst_Program::saysInOneSentenceThatTheModelFileIsBroken()
{
    touch(u"models/Quillon/Models/"_s + LocalModel::catalog().first().fileName);
    Program quillon(program, taskArguments(u"Find the latest PDF"_s), options());
    QCOMPARE(quillon.waitForExit(), 1);
    QCOMPARE(quillon.output(), QString());
    QCOMPARE(quillon.errors(),
             u"Qwen2.5 1.5B Instruct isn't ready: Couldn't load the model file.\n"_s);
}

void tst_Program::saysInOneSentenceWhatItNeeds_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("sentence");

    const QString needsTask =
        u"Quillon takes a task as one text: quillon --task \"Find the latest PDF in my Downloads folder\"\n"_s;
    const QString needsDesktop =
        u"Quillon needs a desktop to show its panel on; without one, give it a task: "
        "quillon --task \"Find the latest PDF in my Downloads folder\"\n"_s;
    QTest::newRow("a panel without a display") << QStringList() << needsDesktop;
    QTest::newRow("a toggle without a display") << QStringList{u"--toggle"_s} << needsDesktop;
    QTest::newRow("a word beside the toggle") << QStringList{u"--toggle"_s, u"more"_s} << needsTask;
    QTest::newRow("a task in several words") << QStringList{u"find"_s, u"it"_s} << needsTask;
    for (const QString &option :
         {u"doctor"_s, u"toggle"_s, u"models"_s, u"import"_s, u"json"_s, u"small"_s}) {
        QTest::addRow("an option without its dashes: %s", qPrintable(option))
            << QStringList{option}
            << u"Is that the option --%1? A task of this one word is given with --task.\n"_s.arg(
                   option);
    }
    QTest::newRow("records of nothing")
        << QStringList{u"--json"_s} << u"--json goes with a task only.\n"_s;
    QTest::newRow("records of the doctor")
        << QStringList{u"--json"_s, u"--doctor"_s} << u"--json goes with a task only.\n"_s;
    QTest::newRow("records twice")
        << QStringList{u"--json"_s, u"--json"_s, u"do it"_s} << u"Give --json only once.\n"_s;
    QTest::newRow("the small model for nothing")
        << QStringList{u"--small"_s} << u"--small goes with a task only.\n"_s;
    QTest::newRow("the small model for the doctor")
        << QStringList{u"--doctor"_s, u"--small"_s} << u"--small goes with a task only.\n"_s;
    QTest::newRow("the small model twice")
        << QStringList{u"--small"_s, u"--small"_s, u"do it"_s} << u"Give --small only once.\n"_s;
    QTest::newRow("an option in place of the file")
        << QStringList{u"--import"_s, u"--doctor"_s}
        << u"--import is followed by --doctor, not by a file.\n"_s;
    const QString needsName =
        u"A model is removed by its name: quillon --models remove qwen2.5-1.5b\n"_s;
    QTest::newRow("a model without a name") << QStringList{u"--models"_s, u"remove"_s} << needsName;
    QTest::newRow("something else with a model")
        << QStringList{u"--models"_s, u"fetch"_s, u"llama3.2-3b"_s} << needsName;
    QTest::newRow("a model that is not there")
        << QStringList{u"--models"_s, u"remove"_s, u"qwen2.5-1.5b"_s}
        << u"There is no “qwen2.5-1.5b-instruct-q4_k_m.gguf” in the models folder.\n"_s;
    QTest::newRow("no file to import") << QStringList{u"--import"_s, u"/nowhere/model.gguf"_s}
                                       << u"There is no file “/nowhere/model.gguf”.\n"_s;
    QTest::newRow("a folder to import")
        << QStringList{u"--import"_s, u"/tmp"_s} << u"There is no file “/tmp”.\n"_s;
    QTest::newRow("a blank task") << taskArguments(u" \t"_s) << u"The task is empty.\n"_s;
    QTest::newRow("an unknown option")
        << QStringList{u"--nonsense"_s} << u"Quillon: Unknown option 'nonsense'.\n"_s;
    const auto together = [](const QString &one, const QString &other) {
        return u"--%1 and --%2 don't go together: give one of them.\n"_s.arg(one, other);
    };
    QTest::newRow("two tasks") << QStringList{u"--task"_s, u"a"_s, u"--task"_s, u"b"_s}
                               << u"Give --task only once.\n"_s;
    QTest::newRow("the doctor twice")
        << QStringList{u"--doctor"_s, u"--doctor"_s} << u"Give --doctor only once.\n"_s;
    QTest::newRow("two toggles") << QStringList{u"--toggle"_s, u"--toggle"_s}
                                 << u"Give --toggle only once.\n"_s;
    QTest::newRow("the doctor and a task")
        << QStringList{u"--doctor"_s, u"--task"_s, u"a"_s} << together(u"doctor"_s, u"task"_s);
    QTest::newRow("a task and the doctor")
        << QStringList{u"--task"_s, u"a"_s, u"--doctor"_s} << together(u"task"_s, u"doctor"_s);
    QTest::newRow("a toggle and a task")
        << QStringList{u"--toggle"_s, u"--task=a"_s} << together(u"toggle"_s, u"task"_s);
    QTest::newRow("a toggle and the doctor")
        << QStringList{u"--toggle"_s, u"--doctor"_s} << together(u"toggle"_s, u"doctor"_s);
    QTest::newRow("all three") << QStringList{u"--toggle"_s, u"--doctor"_s, u"--task=a"_s}
                               << together(u"toggle"_s, u"doctor"_s);
    QTest::newRow("the bus and a task")
        << QStringList{u"--activated"_s, u"--task=a"_s} << together(u"activated"_s, u"task"_s);
    QTest::newRow("an option in place of the task")
        << QStringList{u"--task"_s, u"--doctor"_s}
        << u"--task is followed by --doctor, not by a task.\n"_s;
    QTest::newRow("a word beside the task")
        << QStringList{u"--task"_s, u"a"_s, u"b"_s} << needsTask;
    QTest::newRow("a word beside the doctor") << QStringList{u"--doctor"_s, u"a"_s} << needsTask;
    QTest::newRow("a value for the toggle")
        << QStringList{u"--toggle=on"_s} << u"Quillon: Unexpected value after '--toggle'.\n"_s;
    QTest::newRow("no text behind the option")
        << QStringList{u"--task"_s} << u"Quillon: Missing value after '--task'.\n"_s;
}

void tst_Program::saysInOneSentenceWhatItNeeds()
{
    QFETCH(QStringList, arguments);
    Program quillon(program, arguments, options());
    QCOMPARE(quillon.waitForExit(), 1);
    QCOMPARE(quillon.output(), QString());
    QTEST(quillon.errors(), "sentence");
}

void tst_Program::declinesWhatNobodyCanBeAskedAbout()
{
    touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s,
               uR"({"action":"done","message":"Gone."})"_s});
    Program quillon(program, taskArguments(u"Throw old.tar away"_s), options());
    QCOMPARE(quillon.waitForExit(), 1);
    QCOMPARE(quillon.output(),
             u"Throw old.tar away\n"
             "  ? Move “Downloads/old.tar” to the Trash [y/N] — nobody to ask here\n"
             "  ✗ Declined: Moving “Downloads/old.tar” to Trash\n"
             "I didn't do that, as requested.\n"_s);
    QVERIFY(QFile::exists(home(u"Downloads/old.tar"_s)));
}

void tst_Program::asksBeforeARiskyStep_data()
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

void tst_Program::asksBeforeARiskyStep()
{
    QFETCH(QByteArray, answer);
    QFETCH(bool, isApproved);
    touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s,
               uR"({"action":"done","message":"Gone."})"_s});

    Program quillon(program, taskArguments(u"Throw old.tar away"_s),
                    options(Program::Input::terminal));
    QVERIFY2(quillon.waitForOutput("Move “Downloads/old.tar” to the Trash [y/N] "),
             qPrintable(quillon.output()));
    QVERIFY(QFile::exists(home(u"Downloads/old.tar"_s)));
    quillon.answer(answer);
    QCOMPARE(quillon.waitForExit(), isApproved ? 0 : 1);
    QCOMPARE(QFile::exists(home(u"Downloads/old.tar"_s)), !isApproved);
    QCOMPARE(QFile::exists(home(u"models/Trash/files/old.tar"_s)), isApproved);
    QVERIFY(quillon.output().contains(isApproved ? u"  ✔ Gone.\n"_s
                                                 : u"I didn't do that, as requested.\n"_s));
}

void tst_Program::anAnswerFromBeforeTheQuestionIsNone()
{
    touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s});
    Program::Options impatient = options(Program::Input::terminal);
    impatient.typedAhead = "y\n";
    Program quillon(program, taskArguments(u"Throw old.tar away"_s), impatient);
    QVERIFY(quillon.waitForOutput("[y/N] "));
    QVERIFY(!quillon.waitForExit(500));
    quillon.answer("n\n");
    QCOMPARE(quillon.waitForExit(), 1);
    QVERIFY(QFile::exists(home(u"Downloads/old.tar"_s)));
}

void tst_Program::anAnswerThatComesAtOnceIsNone_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::newRow("a line") << "y\n"_ba;
    QTest::newRow("a line without its end") << "y"_ba;
    QTest::newRow("several lines") << "n\ny\n"_ba;
}

void tst_Program::anAnswerThatComesAtOnceIsNone()
{
    QFETCH(QByteArray, keys);
    touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s});
    Program quillon(program, taskArguments(u"Throw old.tar away"_s),
                    options(Program::Input::terminal));
    const QByteArray question = "Move “Downloads/old.tar” to the Trash [y/N] ";
    QVERIFY(quillon.waitForOutput(question));
    quillon.type(keys);
    // It asks once more and then accepts an answer.
    QVERIFY(quillon.waitForOutput(question + "\n  ? " + question));
    QVERIFY(QFile::exists(home(u"Downloads/old.tar"_s)));
    quillon.answer("\n");
    QCOMPARE(quillon.waitForExit(), 1);
    QVERIFY(QFile::exists(home(u"Downloads/old.tar"_s)));
}

// Otherwise, the shell would run it.
void tst_Program::whatWasTypedMeanwhileIsDroppedAtTheEnd()
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

void tst_Program::ctrlCWhileItAsksDeclinesAndEndsTheTask()
{
    touch(u"Downloads/old.tar"_s);
    giveModel({uR"({"action":"trash","path":"Downloads/old.tar"})"_s});
    Program quillon(program, taskArguments(u"Throw old.tar away"_s),
                    options(Program::Input::terminal));
    QVERIFY(quillon.waitForOutput("[y/N] "));
    quillon.type("\x03");
    QCOMPARE(quillon.waitForExit(), 128 + SIGINT);
    QVERIFY(quillon.output().contains(u"Declined: Moving “Downloads/old.tar” to Trash"_s));
    QVERIFY(QFile::exists(home(u"Downloads/old.tar"_s)));
}

void tst_Program::outlivesItsTerminalWhereItIsTold()
{
    touch(u"Downloads/old.tar"_s);
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

void tst_Program::showsControlCharactersInsteadOfObeyingThem()
{
    giveModel({uR"({"action":"done","message":"\u001b[2J\u202eevil\u0007"})"_s});
    Program quillon(program, taskArguments(u"Say something"_s), options());
    QCOMPARE(quillon.waitForExit(), 0);
    QCOMPARE(quillon.output(), u"Say something\n  ✔ \ufffd[2J\ufffdevil\ufffd\n"_s);
}

void tst_Program::isStartedAgainAfterBeingKilledAtAnyMoment()
{
    touch(u"Downloads/a.pdf"_s);
    giveModel({uR"({"action":"find_files","folder":"Downloads","extension":".pdf"})"_s,
               uR"({"action":"done","message":"Found it."})"_s});
    const QStringList files = modelFiles();
    for (int milliseconds = 0; milliseconds < 120; milliseconds += 8) {
        Program quillon(program, taskArguments(u"Find a PDF"_s), options());
        [[maybe_unused]] const auto ended = quillon.waitForExit(milliseconds);
        quillon.signal(SIGKILL);
        QVERIFY(quillon.waitForExit());
        QCOMPARE(modelFiles(), files);
    }
    Program quillon(program, taskArguments(u"Find a PDF"_s), options());
    QCOMPARE(quillon.waitForExit(), 0);
}

QTEST_GUILESS_MAIN(tst_Program)
#include "tst_Program.moc"
