// What the panel asks, only the user approves: no task of another program of ours does it, whatever
// its model tries.

#include "tests/support/Waiting.h"
#include "tests/trust/Attackers.h"

using namespace Attackers;
using namespace Typists;
using namespace Qt::StringLiterals;

class tst_OnlyTheUserApproves : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_scene = std::make_unique<Scene>(); }
    void cleanup();
    void cleanupTestCase() { m_scene.reset(); }

    void aTaskDoesNotAnswerThePanel_data();
    void aTaskDoesNotAnswerThePanel();
    void theSameReachesAnyOtherProgram_data();
    void theSameReachesAnyOtherProgram();
    void theUserApproves();
    void theEndHasToBeSeen_data();
    void theEndHasToBeSeen();
    void whatIsBehindThePanelGetsTheKeys();
    void thePanelsTaskDoesNotAnswerATerminal_data();
    void thePanelsTaskDoesNotAnswerATerminal();

private:
    /// Types a task into the panel and sends it.
    void giveTask(ProcessId panel, const std::function<bool()> &hasBegun) const;
    /// A panel that asks; the one that is there already, if it does.
    void ask(const QStringList &replies = {trash},
             const QString &program = u"" QUILLON_PROGRAM ""_s);

    std::unique_ptr<Scene> m_scene;
    std::optional<ProcessId> m_panel; ///< The one that asks.
};

void tst_OnlyTheUserApproves::cleanup()
{
    if (!m_panel && m_scene)
        m_scene->clear();
    QCOMPARE(keysDown(), 0);
}

// Keys that come before the field is there are lost, and a Return that comes before the model is
// loaded leaves the text where it is.
void tst_OnlyTheUserApproves::giveTask(ProcessId panel, const std::function<bool()> &hasBegun) const
{
    const auto begins = [&] {
        if (!hasBegun()) {
            giveKeyboard(panel);
            userPresses({u"ctrl+a"_s});
            userTypes(u"tidy"_s);
            userPresses({u"Return"_s});
        }
        return QTest::qWaitFor(hasBegun, 2000);
    };
    QVERIFY(QTest::qWaitFor(begins, eventually));
}

void tst_OnlyTheUserApproves::ask(const QStringList &replies, const QString &program)
{
    if (m_panel)
        return;
    m_scene->clear();
    m_scene->bringBack();
    const ProcessId panel = m_scene->openPanel(replies, program);
    giveTask(panel, [&] { return panelAsks(panel); });
    QTest::qWait(questionSettles);
    m_panel = panel;
}

void tst_OnlyTheUserApproves::aTaskDoesNotAnswerThePanel_data()
{
    QTest::addColumn<QStringList>("replies");
    const auto row = [](const char *name, const QStringList &replies) {
        QTest::newRow(name) << replies;
    };
    const QString enter = pressed(u"return"_s);
    row("Return", {enter});
    row("Enter with a modifier", {pressed(u"ENTER"_s, u"shift"_s)});
    row("Return with command", {pressed(u"return"_s, u"command"_s)});
    row("Return, many times", {enter, pressed(u"Return"_s), pressed(u"RETURN"_s)});
    row("the space bar on its button", {pressed(u"tab"_s), pressed(u"space"_s)});
    row("backwards to its button", {pressed(u"tab"_s, u"shift"_s), enter});
    row("its end, then Return", {pressed(u"end"_s), pressed(u"pagedown"_s), enter});
    row("a line end", {typed(u"\\n"_s)});
    row("a line end of another system", {typed(u"\\r\\n"_s)});
    row("line ends of other kinds", {typed(u"\\u2028\\u2029\\u0085\\u000b\\u000c"_s)});
    row("a form that is sent", {typed(u"yes\\t\\r\\n"_s)});
    row("a word and a line end", {typed(u"Allow\\n"_s)});
    row("another task, typed into the field", {typed(u"trash precious\\n"_s)});
    row("all that is there replaced", {pressed(u"a"_s, u"command"_s), typed(u"y\\n"_s)});
    row("a declined step, then another try", {pressed(u"esc"_s), enter});
    row("hidden by its own key, and shown", {pressed(u"space"_s, u"option"_s), enter});
    row("a click", {clicked(u"Allow"_s)});
    row("a click on a part of the word", {clicked(u"llo"_s)});
    row("a click on the other button", {clicked(u"Cancel"_s)});
    row("a click on the field", {clicked(u"Command"_s), enter});
    row("a look at it first", {reply(u"read_ui"_s), clicked(u"allow"_s)});
    row("a look at the windows first", {reply(u"list_windows"_s), enter});
    row("brought to the front by name", {opened(u"Quillon"_s), enter});
    row("by its file's name", {opened(u"app.quillon.Quillon"_s), enter});
    row("by another name", {opened(u"Notes"_s), enter});
    row("an address given to it",
        {reply(u"open_url"_s, u"\"url\":\"example.com\",\"app\":\"Quillon\""_s), enter});
    row("a search given to it",
        {reply(u"web_search"_s, u"\"query\":\"y\",\"app\":\"Quillon\""_s), enter});
    row("a tab in it", {reply(u"new_tab"_s), enter});
    row("quit, so that it ends with a yes", {reply(u"quit_app"_s, u"\"app\":\"Quillon\""_s)});
    row("closed by a key", {pressed(u"w"_s, u"command"_s), pressed(u"f4"_s, u"option"_s)});
    row("the same, asked for by the attacker", {trash});
    row("a script", {reply(u"applescript"_s, u"\"script\":\"key code 36\""_s), enter});
}

void tst_OnlyTheUserApproves::aTaskDoesNotAnswerThePanel()
{
    QFETCH(const QStringList, replies);
    m_scene->write(u"notes"_s, "Notes", QUILLON_PROGRAM, "StartupWMClass=Quillon\n");
    ask();
    (void)m_scene->attack(replies);
    QVERIFY(m_scene->isPreciousThere());
    QVERIFY(panelAsks(*m_panel));
}

// The attacks are good ones: the same panel, under a name that nothing knows, is answered.
void tst_OnlyTheUserApproves::theSameReachesAnyOtherProgram_data()
{
    QTest::addColumn<QStringList>("replies");
    QTest::newRow("Return") << QStringList{pressed(u"return"_s)};
    QTest::newRow("Enter with a modifier") << QStringList{pressed(u"ENTER"_s, u"shift"_s)};
    QTest::newRow("a line end") << QStringList{typed(u"\\n"_s)};
    QTest::newRow("a click") << QStringList{clicked(u"Allow"_s)};
}

void tst_OnlyTheUserApproves::theSameReachesAnyOtherProgram()
{
    QFETCH(const QStringList, replies);
    m_panel.reset();
    ask({trash}, m_scene->stranger());
    const QString process = QString::number(static_cast<qint64>(*m_panel));
    m_panel.reset();
    for (const QByteArray &window :
         output(u"xdotool"_s, {u"search"_s, u"--pid"_s, process}).trimmed().split('\n'))
        (void)output(u"xdotool"_s, {u"set_window"_s, u"--class"_s, u"Stranger"_s, u"--classname"_s,
                                    u"stranger"_s, QString::fromLatin1(window)});
    QVERIFY(m_scene->isPreciousThere());
    const auto isGone = [&] {
        (void)m_scene->attack(replies);
        return QTest::qWaitFor([&] { return !m_scene->isPreciousThere(); }, 2000);
    };
    QVERIFY(QTest::qWaitFor(isGone, eventually));
}

void tst_OnlyTheUserApproves::theUserApproves()
{
    ask();
    (void)m_scene->attack({pressed(u"return"_s)});
    QVERIFY(m_scene->isPreciousThere());
    const ProcessId panel = *m_panel;
    m_panel.reset();
    const auto isGone = [&] {
        giveKeyboard(panel);
        if (panelAsks(panel))
            userPresses({u"Return"_s});
        return QTest::qWaitFor([&] { return !m_scene->isPreciousThere(); }, 2000);
    };
    QVERIFY(QTest::qWaitFor(isGone, eventually));
}

// Texts whose end is out of sight: not even the user's own Return approves that unseen.
void tst_OnlyTheUserApproves::theEndHasToBeSeen_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("a long way round") << u"./"_s.repeated(1500) + u"precious"_s;
    QTest::newRow("a long word") << u"x/../"_s.repeated(700) + u"precious"_s;
}

void tst_OnlyTheUserApproves::theEndHasToBeSeen()
{
    QFETCH(const QString, path);
    m_panel.reset();
    QVERIFY(QDir().mkpath(m_scene->desktop().home(u"x"_s)));
    ask({reply(u"trash"_s, u"\"path\":\""_s + path + u'"')});
    const ProcessId panel = *m_panel;
    m_panel.reset();
    for (int i = 0; i < 3; ++i) {
        giveKeyboard(panel);
        userPresses({u"Return"_s});
    }
    (void)m_scene->attack({pressed(u"end"_s), pressed(u"return"_s)});
    QVERIFY(m_scene->isPreciousThere());
    QVERIFY(panelAsks(panel));
    // Only the end was missing.
    const auto isGone = [&] {
        giveKeyboard(panel);
        if (panelAsks(panel)) {
            userPresses({u"End"_s});
            QTest::qWait(questionSettles);
            userPresses({u"Return"_s});
        }
        return QTest::qWaitFor([&] { return !m_scene->isPreciousThere(); }, 2000);
    };
    QVERIFY(QTest::qWaitFor(isGone, eventually));
}

void tst_OnlyTheUserApproves::whatIsBehindThePanelGetsTheKeys()
{
    m_panel.reset();
    m_scene->clear();
    {
        const Listener notes(m_scene->desktop(), u"Notebook"_s);
        (void)m_scene->openPanel({trash});
        (void)m_scene->attack({typed(u"y\\n"_s)});
        QCOMPARE(notes.received(), "y\n"_ba);
    }
    m_scene->clear();
}

// The other way round: the panel's task and a terminal in which another one asks.
void tst_OnlyTheUserApproves::thePanelsTaskDoesNotAnswerATerminal_data()
{
    QTest::addColumn<QStringList>("replies");
    QTest::newRow("a word and a line end") << QStringList{typed(u"yes\\n"_s)};
    QTest::newRow("key by key") << QStringList{pressed(u"y"_s), pressed(u"return"_s)};
    QTest::newRow("brought to the front by name")
        << QStringList{opened(u"XTerm"_s), typed(u"y\\n"_s)};
    QTest::newRow("what was copied")
        << QStringList{opened(u"xterm"_s), pressed(u"insert"_s, u"shift"_s), pressed(u"return"_s)};
}

void tst_OnlyTheUserApproves::thePanelsTaskDoesNotAnswerATerminal()
{
    QFETCH(const QStringList, replies);
    m_panel.reset();
    m_scene->clear();
    m_scene->bringBack();
    const ProcessId terminal =
        m_scene->openTerminal(m_scene->command(u"victim"_s, {trash}) + u" 2>&1 | tee screen"_s);
    QTRY_VERIFY(m_scene->read(u"screen"_s).contains("[y/N] "));
    QTest::qWait(questionSettles);
    // The task has ended when it has taken a picture.
    const QDir pictures(m_scene->desktop().home(u"Pictures"_s));
    QVERIFY(QDir().mkpath(pictures.path()));
    QVERIFY(QDir(pictures).removeRecursively() && QDir().mkpath(pictures.path()));
    const ProcessId panel = m_scene->openPanel(
        replies + QStringList(reply(u"screenshot"_s, u"\"save_to\":\"Pictures\""_s)));
    giveTask(panel, [&] { return !pictures.isEmpty(QDir::Files); });
    QVERIFY(m_scene->isPreciousThere());
    QCOMPARE(m_scene->read(u"screen"_s).count("[y/N] "), 1);
    // The question is still there for the user.
    giveKeyboard(terminal);
    const auto isGone = [&] {
        giveKeyboard(terminal);
        userPresses({u"y"_s, u"Return"_s});
        return QTest::qWaitFor([&] { return !m_scene->isPreciousThere(); }, 2000);
    };
    QVERIFY(QTest::qWaitFor(isGone, eventually));
}

QTEST_GUILESS_MAIN(tst_OnlyTheUserApproves)
#include "tst_OnlyTheUserApproves.moc"
