// Hostile texts, and a model's replies to them, must be printed in the terminal without control
// characters.

#include "agent/AgentSession.h"
#include "app/Terminal.h"
#include "app/TerminalRunner.h"
#include "base/ShownText.h"
#include "executor/Pause.h"
#include "models/ModelManager.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/ProgramHome.h"
#include "tests/support/ScriptedEngine.h"
#include "tests/support/Waiting.h"
#include "tests/trust/HostileTexts.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

// The test starts this program again with an argument, to run a task for each of the texts.
namespace {
// The line before the output of each task.
QString border(qsizetype index)
{
    return u"- - - 8< %1\n"_s.arg(index);
}

QCoro::Task<> playAll()
{
    const Executor::PauseOverride noPauses([](std::chrono::milliseconds, const auto &) {});
    for (qsizetype i = 0; i < hostileTexts().size(); ++i) {
        const HostileText &hostile = hostileTexts()[i];
        FakePlatform platform;
        platform.fakeWorkspace.front = Application{.pid = ProcessId{7}, .name = hostile.front};
        const auto engine = std::make_shared<ScriptedEngine>();
        engine->setPieceLength(10'000);
        engine->setLoaded(true);
        engine->addReplies({replyOf(u"type_text"_s, u"text"_s, hostile.text), hostile.obeyed,
                            replyOf(u"done"_s, u"message"_s, hostile.text)});
        ModelManager models(engine);
        co_await models.loadIfNeeded();
        AgentSession session(models);
        Terminal terminal;
        TerminalRunner runner(models, session, terminal);
        terminal.print(border(i).trimmed());
        (void)co_await runner.run(u"Look: "_s + hostile.text);
        if (!platform.fakeWorkspace.trashed.isEmpty() || !platform.fakeScripts.sources.isEmpty())
            qFatal("That was not approved.");
    }
    QCoreApplication::exit(0);
}

// Control characters except for line ends, direction overrides, and invisible characters.
bool isObeyed(QChar character)
{
    if (character == u'\n')
        return false;
    return character.category() == QChar::Other_Control || character == QChar::LineSeparator ||
           character == QChar::ParagraphSeparator || character == u'\u00ad' ||
           (character >= u'\u200b' && character <= u'\u200f') ||
           (character >= u'\u202a' && character <= u'\u202e') ||
           (character >= u'\u2060' && character <= u'\u206f') || character == u'\ufeff';
}
} // namespace

class tst_HostileTerminal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void whatIsPrintedIsPlainText_data();
    void whatIsPrintedIsPlainText();
    void aTerminalGetsNothingElseThanItsOwnControls();

private:
    ProgramHome m_home;
    QStringList m_tasks; ///< The output of each task.
};

void tst_HostileTerminal::initTestCase()
{
    Program tasks(QCoreApplication::applicationFilePath(), {u"--play"_s}, m_home.options());
    QCOMPARE(tasks.waitForExit(2 * eventually), 0);
    QCOMPARE(tasks.errors(), QString());
    const QString output = tasks.output();
    for (qsizetype i = 0; i < hostileTexts().size(); ++i)
        m_tasks << output.section(border(i), 1).section(border(i + 1), 0, 0);
}

void tst_HostileTerminal::whatIsPrintedIsPlainText_data()
{
    QTest::addColumn<qsizetype>("index");
    for (qsizetype i = 0; i < hostileTexts().size(); ++i)
        QTest::newRow(hostileTexts()[i].name) << i;
}

void tst_HostileTerminal::whatIsPrintedIsPlainText()
{
    QFETCH(const qsizetype, index);
    const HostileText &hostile = hostileTexts()[index];
    const QString printed = m_tasks[index];
    QVERIFY(std::ranges::none_of(printed, isObeyed));

    // Control characters and unpaired surrogates are replaced; other characters are unchanged.
    const QString plain = ShownText::plain(hostile.text.trimmed());
    for (const QString &line : plain.split(u'\n'))
        QVERIFY2(printed.contains(line), qPrintable(printed.left(1000)));

    // Only lines of the transcript begin at the margin.
    int endings = 0;
    for (const QString &line : printed.split(u'\n'))
        endings += line.startsWith(u"  ✔ "_s) ? 1 : 0;
    QVERIFY(endings <= 1);
    QCOMPARE(printed.count(u"[y/N] — no terminal to ask on\n"_s), hostile.reason.isEmpty() ? 0 : 1);
    if (!hostile.shown.isEmpty()) {
        const QString question = u"  ? "_s + hostile.shown + u" [y/N] "_s;
        QVERIFY(printed.contains(QString(question).replace(u'\n', u"\n    "_s)));
    }
    // No other text is parsed as a reply, so the last message is the one that ended the task.
    const bool isReadable =
        !hostile.text.contains(QChar(0xd800)) && !hostile.text.contains(QChar(0xdc00));
    QCOMPARE(endings, hostile.reason.isEmpty() && isReadable ? 1 : 0);
}

void tst_HostileTerminal::aTerminalGetsNothingElseThanItsOwnControls()
{
    // On a terminal, there is also a status line that is overwritten, and a question for each task.
    Program tasks(QCoreApplication::applicationFilePath(), {u"--play"_s},
                  m_home.options(Program::Input::terminal));
    for (qsizetype i = 0; i < hostileTexts().size(); ++i) {
        if (hostileTexts()[i].reason.isEmpty())
            continue;
        QVERIFY(tasks.waitForOutput(border(i).toUtf8()));
        const auto endsIn = [&](const QString &text) {
            return tasks.output().section(border(i), 1).endsWith(text);
        };
        int pages = 1;
        for (const QDeadlineTimer limit(eventually); !endsIn(u"[y/N] "_s) && !limit.hasExpired();) {
            (void)tasks.waitForOutput("what it never prints", 10);
            // Approval counts only at the end of a long question.
            const QString printed = tasks.output().section(border(i), 1);
            if (printed.count(u"\n— Return shows the rest — "_s) == pages) {
                tasks.answer("y\n");
                ++pages;
            }
        }
        QVERIFY(endsIn(u"[y/N] "_s));
        const HostileText &hostile = hostileTexts()[i];
        const qsizetype length = (hostile.shown.isEmpty() ? hostile.reason : hostile.shown).size();
        QCOMPARE(pages > 1, length > 1'500);
        tasks.answer("n\n");
    }
    QCOMPARE(tasks.waitForExit(2 * eventually), 0);
    QString output = tasks.output();
    QVERIFY(output.contains(u"\r\u001b[K"_s));
    output.remove(u"\r\u001b[K"_s);
    QVERIFY(std::ranges::none_of(output, isObeyed));
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(u"Quillon"_s);
    QCoreApplication::setApplicationName(u"Quillon"_s);
    if (argc == 2 && argv[1] == "--play"_ba) {
        QCoro::Task<> playing;
        QTimer::singleShot(0, QCoreApplication::instance(), [&] { playing = playAll(); });
        return QCoreApplication::exec();
    }
    tst_HostileTerminal test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_HostileTerminal.moc"
