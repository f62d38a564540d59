#include "tests/app/ProgramFixture.h"

#include <QTest>

using namespace Qt::StringLiterals;

// What the program answers to arguments that it cannot use, each in one sentence.
class tst_ProgramArguments : public ProgramFixture
{
    Q_OBJECT

private Q_SLOTS:
    void saysInOneSentenceWhatItNeeds_data();
    void saysInOneSentenceWhatItNeeds();
};

void tst_ProgramArguments::saysInOneSentenceWhatItNeeds_data()
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
    for (const QString &address : {u"https://example.com"_s, u"FILE:///etc/passwd"_s}) {
        QTest::addRow("%s", qPrintable(address))
            << QStringList{address}
            << u"That is an address. A task of this one word is given with --task.\n"_s;
    }
    for (const QString &option : {u"--json"_s, u"--small"_s}) {
        const QString alone = option + u" goes with a task only.\n"_s;
        const auto row = [&](const char *how, const QStringList &given, const QString &sentence) {
            QTest::addRow("%s %s", qPrintable(option), how) << given << sentence;
        };
        row("for nothing", {option}, alone);
        row("before the doctor", {option, u"--doctor"_s}, alone);
        row("after the doctor", {u"--doctor"_s, option}, alone);
        row("twice", {option, option, u"do it"_s}, u"Give %1 only once.\n"_s.arg(option));
    }
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

void tst_ProgramArguments::saysInOneSentenceWhatItNeeds()
{
    QFETCH(const QStringList, arguments);
    Program quillon(program, arguments, options());
    QCOMPARE(quillon.waitForExit(), 1);
    QCOMPARE(quillon.output(), QString());
    QTEST(quillon.errors(), "sentence");
}

QTEST_GUILESS_MAIN(tst_ProgramArguments)
#include "tst_ProgramArguments.moc"
