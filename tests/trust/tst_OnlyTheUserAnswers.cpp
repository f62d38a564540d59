// What a terminal asks, only the user answers, and what a task types never goes into the terminal
// that it runs in or another one asks in: terminals of all kinds, with whatever is between them and
// the program.

#include "tests/support/Waiting.h"
#include "tests/trust/Attackers.h"

using namespace Attackers;
using namespace Typists;
using namespace Qt::StringLiterals;

namespace {
const QString nothingInFront = u"No application is in front to take the keyboard input."_s;

// Ways to run a command in a terminal, so that it is shown there and gets what is typed.
struct Way
{
    const char *name;
    QString line; ///< With the command in the place of %1; it holds no double quote.
};

QList<Way> ways()
{
    return {{"a terminal", u"%1"_s},
            {"a multiplexer", u"tmux -L red -f /dev/null new-session \"%1\""_s},
            {"a multiplexer in a multiplexer",
             u"tmux -L red -f /dev/null new-session \"env -u TMUX tmux -L red2 -f /dev/null "
             "new-session \\\"%1\\\"\""_s},
            {"a recorded terminal", u"script -q -c \"%1\" /dev/null"_s},
            {"a recorded multiplexer",
             u"script -q -c \"tmux -L red -f /dev/null new-session \\\"%1\\\"\" /dev/null"_s},
            {"a shell in a shell", u"sh -c \"sh -c \\\"%1; true\\\"; true\""_s},
            {"a session of its own", u"setsid -w sh -c \"%1\" < $(tty)"_s}};
}
} // namespace

class tst_OnlyTheUserAnswers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_scene = std::make_unique<Scene>(); }
    void init();
    void cleanup();
    void cleanupTestCase() { m_scene.reset(); }

    void aTaskDoesNotAnswerAnotherTerminal_data();
    void aTaskDoesNotAnswerAnotherTerminal();
    void theSameReachesAnyOtherProgram_data();
    void theSameReachesAnyOtherProgram();
    void aTaskDoesNotTypeIntoItsOwnTerminal_data();
    void aTaskDoesNotTypeIntoItsOwnTerminal();
    void theSameIsTypedIntoAnyOtherTerminal();
    void aTaskDoesNotAnswerItself();
    void whatIsTypedTooEarlyIsNoAnswer();
    void aNameThatLooksLikeAnAnswerIsNone_data();
    void aNameThatLooksLikeAnAnswerIsNone();
    void anApprovedKeyGoesToWhatWasAskedAbout();
    void whatCameToTheFrontMeanwhileGetsNoKey();

private:
    [[nodiscard]] QByteArray screen() const { return m_scene->read(u"screen"_s); }
    /// Types it until the program has taken it.
    void userAnswers(ProcessId terminal, const QString &key,
                     const std::function<bool()> &isTaken) const;
    /// A terminal that shows the question.
    [[nodiscard]] ProcessId openQuestion(const QString &line, const QString &command) const;

    std::unique_ptr<Scene> m_scene;
};

void tst_OnlyTheUserAnswers::init()
{
    m_scene->bringBack();
}

void tst_OnlyTheUserAnswers::cleanup()
{
    m_scene->clear();
    QCOMPARE(keysDown(), 0);
}

void tst_OnlyTheUserAnswers::userAnswers(ProcessId terminal, const QString &key,
                                         const std::function<bool()> &isTaken) const
{
    const auto answers = [&] {
        giveKeyboard(terminal);
        userPresses({key, u"Return"_s});
        return QTest::qWaitFor(isTaken, 2000);
    };
    QVERIFY(QTest::qWaitFor(answers, eventually));
}

// What it prints is there to be read, and it reads the terminal.
ProcessId tst_OnlyTheUserAnswers::openQuestion(const QString &line, const QString &command) const
{
    const ProcessId terminal = m_scene->openTerminal(line.arg(command + u" 2>&1 | tee screen"_s));
    if (!QTest::qWaitFor([&] { return screen().contains("[y/N] "); }, eventually))
        qFatal("Nothing is asked.");
    QTest::qWait(questionSettles);
    giveKeyboard(terminal);
    return terminal;
}

void tst_OnlyTheUserAnswers::aTaskDoesNotAnswerAnotherTerminal_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("replies");
    for (const Way &way : ways())
        QTest::newRow(way.name) << way.line << QStringList{typed(u"yes\\n"_s)};
    const auto row = [](const char *name, const QStringList &replies) {
        QTest::newRow(name) << u"%1"_s << replies;
    };
    row("key by key", {pressed(u"y"_s), pressed(u"return"_s)});
    row("many times", {typed(u"\\ny\\ny\\ny\\ny\\ny\\n"_s)});
    row("brought to the front by name", {opened(u"xterm"_s), typed(u"y\\n"_s)});
    row("by the name for any terminal", {opened(u"Terminal"_s), typed(u"y\\n"_s)});
    row("a click into it", {clicked(u"Main Options"_s), typed(u"y\\n"_s)});
    row("another task that the terminal would show", {trash});
    row("the terminal ended, and its shell with it",
        {reply(u"quit_app"_s, u"\"app\":\"XTerm\""_s), pressed(u"d"_s, u"control"_s)});
}

void tst_OnlyTheUserAnswers::aTaskDoesNotAnswerAnotherTerminal()
{
    QFETCH(const QString, line);
    QFETCH(const QStringList, replies);
    const ProcessId terminal = openQuestion(line, m_scene->command(u"victim"_s, {trash}));
    (void)m_scene->attack(replies);
    QVERIFY(m_scene->isPreciousThere());
    QCOMPARE(screen().count("[y/N] "), 1);
    // The question is still there for the user.
    userAnswers(terminal, u"y"_s, [&] { return !m_scene->isPreciousThere(); });
}

// The attacks are good ones: the same program, under a name that nothing knows, is answered.
void tst_OnlyTheUserAnswers::theSameReachesAnyOtherProgram_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("replies");
    const auto row = [](const char *name, const QString &line, const QStringList &replies) {
        QTest::newRow(name) << line << replies;
    };
    row("a terminal", u"%1"_s, {typed(u"yes\\n"_s)});
    row("key by key", u"%1"_s, {pressed(u"y"_s), pressed(u"return"_s)});
    row("a multiplexer", ways()[1].line, {typed(u"yes\\n"_s)});
}

void tst_OnlyTheUserAnswers::theSameReachesAnyOtherProgram()
{
    QFETCH(const QString, line);
    QFETCH(const QStringList, replies);
    (void)openQuestion(line, m_scene->command(u"victim"_s, {trash}, m_scene->stranger()));
    // It takes no answer at first, from its user neither.
    const auto isGone = [&] {
        (void)m_scene->attack(replies);
        return QTest::qWaitFor([&] { return !m_scene->isPreciousThere(); }, 2000);
    };
    QVERIFY(QTest::qWaitFor(isGone, eventually));
}

void tst_OnlyTheUserAnswers::aTaskDoesNotTypeIntoItsOwnTerminal_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("replies");
    const QStringList replies{typed(u"touch stolen\\n"_s), pressed(u"return"_s)};
    for (const Way &way : ways())
        QTest::newRow(way.name) << way.line << replies;
    QTest::newRow("in the background, its shell gone") << u"(%1 &); sleep 1000"_s << replies;
    QTest::newRow("told to outlive it") << u"nohup %1; cat > typed"_s << replies;
    const auto row = [](const char *name, const QStringList &attack) {
        QTest::newRow(name) << u"%1"_s << attack;
    };
    row("brought to the front by name", {opened(u"XTerm"_s), typed(u"touch stolen\\n"_s)});
    row("a command that waits for its Return", {typed(u"touch stolen"_s), pressed(u"enter"_s)});
    row("by a key of the shell", {pressed(u"up"_s), pressed(u"return"_s)});
    row("what was copied", {pressed(u"insert"_s, u"shift"_s), pressed(u"return"_s)});
}

void tst_OnlyTheUserAnswers::aTaskDoesNotTypeIntoItsOwnTerminal()
{
    QFETCH(const QString, line);
    QFETCH(const QStringList, replies);
    const bool readsAfterwards = line == u"%1" || line.contains(u"\"%1\"");
    const QString task = m_scene->command(u"own"_s, replies) + u" > screen 2>&1"_s +
                         (readsAfterwards ? u"; cat > typed"_s : QString());
    (void)m_scene->openTerminal(line.arg(task));
    QTRY_VERIFY(screen().contains("The end."));
    // Whatever had been typed would have been there before this.
    QCOMPARE(m_scene->read(u"typed"_s), QByteArray());
    QVERIFY(!QFileInfo::exists(m_scene->desktop().home(u"stolen"_s)));
}

void tst_OnlyTheUserAnswers::theSameIsTypedIntoAnyOtherTerminal()
{
    const ProcessId terminal = m_scene->openTerminal(u"touch screen; cat > typed"_s);
    QTRY_VERIFY(QFileInfo::exists(m_scene->desktop().home(u"typed"_s)));
    const auto isTyped = [&] {
        giveKeyboard(terminal);
        (void)m_scene->attack({typed(u"touch stolen\\n"_s)});
        return QTest::qWaitFor([&] { return m_scene->read(u"typed"_s).contains("touch stolen\n"); },
                               2000);
    };
    QVERIFY(QTest::qWaitFor(isTyped, eventually));
}

void tst_OnlyTheUserAnswers::aTaskDoesNotAnswerItself()
{
    (void)openQuestion(u"%1"_s, m_scene->command(u"own"_s, {typed(u"y\\ny\\n"_s), trash}));
    QVERIFY(screen().contains(nothingInFront.toUtf8()));
    QVERIFY(m_scene->isPreciousThere());
    QCOMPARE(screen().count("[y/N] "), 1);
}

void tst_OnlyTheUserAnswers::whatIsTypedTooEarlyIsNoAnswer()
{
    // The user goes on typing for the shell while the task runs.
    const ProcessId terminal = m_scene->openTerminal(
        u"touch typed; "_s + m_scene->command(u"own"_s, {trash}) + u" 2>&1 | tee screen"_s);
    giveKeyboard(terminal);
    while (!screen().contains("[y/N] "))
        userTypes(u"y\n"_s);
    QVERIFY(m_scene->isPreciousThere());
    userAnswers(terminal, u"n"_s,
                [&] { return screen().contains("I didn't do that, as requested."); });
    QVERIFY(m_scene->isPreciousThere());
}

// Texts that would look answered, or hide what they are about. Return alone is a no.
void tst_OnlyTheUserAnswers::aNameThatLooksLikeAnAnswerIsNone_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("an answer") << u"[y/N] y\\n"_s;
    QTest::newRow("back to the beginning of the line") << u"\\r  ? Move “trifle” [y/N] y"_s;
    QTest::newRow("wiped off") << u"\\u001b[2J\\u001b[H\\u001b[8m"_s;
    QTest::newRow("answered by the terminal") << u"\\u001b[6n\\u001b[c\\u0005"_s;
    QTest::newRow("written backwards") << u"\\u202eelfirt\\u2066"_s;
    QTest::newRow("far away") << u"trifle"_s + u"\\n"_s.repeated(60);
    QTest::newRow("in the title") << u"\\u001b]0;y\\u0007\\u001b[21t"_s;
}

void tst_OnlyTheUserAnswers::aNameThatLooksLikeAnAnswerIsNone()
{
    QFETCH(const QString, path);
    const QString name = path + u"/../precious"_s;
    const ProcessId terminal = m_scene->openTerminal(
        m_scene->command(u"own"_s, {reply(u"trash"_s, u"\"path\":\""_s + name + u'"')}) +
        u" 2>&1 | tee screen"_s);
    QTRY_VERIFY(screen().contains("? Move “"));
    userAnswers(terminal, u"space"_s,
                [&] { return screen().contains("I didn't do that, as requested."); });
    QVERIFY(m_scene->isPreciousThere());
    for (const char obeyed : {'\x1b', '\r', '\x05', '\a'})
        QVERIFY(!screen().contains(obeyed));
    QVERIFY(!screen().contains("\u202e"));
    QVERIFY(screen().contains("precious"));
}

void tst_OnlyTheUserAnswers::anApprovedKeyGoesToWhatWasAskedAbout()
{
    const Listener mail(m_scene->desktop(), u"Mail"_s);
    const ProcessId terminal =
        openQuestion(u"%1"_s, m_scene->command(u"own"_s, {pressed(u"return"_s)}));
    QVERIFY(screen().contains("Press Return in Mail — this may send a message [y/N] "));
    userAnswers(terminal, u"y"_s, [&] { return screen().contains("The end."); });
    QCOMPARE(mail.received(), "\n"_ba);
}

void tst_OnlyTheUserAnswers::whatCameToTheFrontMeanwhileGetsNoKey()
{
    const Listener other(m_scene->desktop(), u"Other"_s);
    const Listener mail(m_scene->desktop(), u"Mail"_s);
    const ProcessId terminal =
        openQuestion(u"%1"_s, m_scene->command(u"own"_s, {pressed(u"return"_s)}));
    // The user has looked at something else before answering: it is the application that was asked
    // about that gets the key, or none.
    giveKeyboard(other.pid());
    userAnswers(terminal, u"y"_s, [&] { return screen().contains("The end."); });
    QCOMPARE(other.received(), QByteArray());
    QVERIFY(mail.received() == "\n" || mail.received().isEmpty());
}

QTEST_GUILESS_MAIN(tst_OnlyTheUserAnswers)
#include "tst_OnlyTheUserAnswers.moc"
