#include "tests/desktop/Desktop.h"

using namespace Qt::StringLiterals;

// Two editors, one with GTK and one with Qt, operated like by the model; checks the files that they
// save.
class tst_DesktopEditors : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void whatIsTypedIsSaved_data();
    void whatIsTypedIsSaved();
    void theMenuSaves_data();
    void theMenuSaves();
    void keysEditTheText_data();
    void keysEditTheText();
    void unsavedWorkKeepsTheApplication_data();
    void unsavedWorkKeepsTheApplication();
    void thePromptSaves();
    void keysGoToTheWindowInFront();
    void anEditorThatHangsIsNotWaitedForForever();

private:
    static void addEditors()
    {
        QTest::addColumn<QString>("editor");
        QTest::newRow("GTK 3") << u"Mousepad"_s;
        QTest::newRow("Qt") << u"FeatherPad"_s;
    }

    // Opens the file in that editor and waits until it accepts keys.
    void open(const QString &editor, const QString &entry, const QByteArray &content)
    {
        m_desktop->write(entry, content);
        const QString id =
            editor == u"Mousepad" ? u"org.xfce.mousepad.desktop"_s : u"featherpad.desktop"_s;
        m_desktop->setDefault(id, {u"text/plain"_s});
        QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, entry}}), u"Opened "_s + entry + u'.');
        APP_TRY_COMPARE(frontName(), editor);
        APP_TRY_VERIFY(activeTitle().contains(entry));
    }

    // Both editors mark an unsaved text with a star.
    static bool isMarkedUnsaved() { return windows().constFirst().contains(u'*'); }

    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_DesktopEditors::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->enableAccessibility();
    m_desktop->install(u"org.xfce.mousepad.desktop"_s);
    m_desktop->install(u"featherpad.desktop"_s);
    m_desktop->install(u"debian-xterm.desktop"_s);
}

void tst_DesktopEditors::cleanup()
{
    closeEverything();
}

void tst_DesktopEditors::whatIsTypedIsSaved_data()
{
    QTest::addColumn<QString>("editor");
    QTest::addColumn<bool>("byButton");
    // If its dialog is still completing the name, it ignores the confirmation and uses Return
    // itself.
    QTest::newRow("GTK 3") << u"Mousepad"_s << true;
    // Its button has the same name as the one in the window behind.
    QTest::newRow("Qt") << u"FeatherPad"_s << false;
}

void tst_DesktopEditors::whatIsTypedIsSaved()
{
    QFETCH(const QString, editor);
    QFETCH(const bool, byButton);
    const QString text =
        u"Hello Wörld,\n\nzwei — 日本語 “quoted” 👩‍👩‍👧\n  end"_s;
    const QString name = u"by "_s + editor + u".txt"_s;
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, editor}}), editor + u" is now frontmost."_s);
    APP_TRY_COMPARE(frontName(), editor);
    type(text);
    APP_TRY_VERIFY(isMarkedUnsaved());
    press(u"s"_s, u"command"_s);
    APP_TRY_VERIFY(activeTitle().startsWith(u"Save"_s));
    type(m_desktop->home(name));
    const auto isSaved = [] { return !activeTitle().startsWith(u"Save"_s); };
    for (const QDeadlineTimer limit(appLimit); !isSaved() && !limit.hasExpired();) {
        if (byButton)
            click(u"Save"_s);
        else
            press(u"Return"_s);
        (void)QTest::qWaitFor(isSaved, 3000);
    }
    APP_TRY_COMPARE(QString::fromUtf8(m_desktop->read(name)).trimmed(), text);
}

void tst_DesktopEditors::theMenuSaves_data()
{
    addEditors();
}

void tst_DesktopEditors::theMenuSaves()
{
    QFETCH(const QString, editor);
    open(editor, u"menu.txt"_s, "old\n");
    type(u"new "_s);
    APP_TRY_VERIFY(isMarkedUnsaved());
    click(u"File"_s);
    click(u"Save"_s);
    APP_TRY_COMPARE(m_desktop->read(u"menu.txt"_s), "new old\n"_ba);
    APP_TRY_VERIFY(!isMarkedUnsaved());
}

void tst_DesktopEditors::keysEditTheText_data()
{
    addEditors();
}

void tst_DesktopEditors::keysEditTheText()
{
    QFETCH(const QString, editor);
    open(editor, u"keys.txt"_s, "one two three\n");
    // Selects the first word, deletes it, deletes a letter, and types a capital.
    for (int i = 0; i < 4; ++i)
        press(u"right"_s, u"shift"_s);
    press(u"backspace"_s);
    press(u"Right"_s);
    press(u"x"_s);
    press(u"DELETE"_s);
    press(u"a"_s, u"shift"_s);
    press(u"s"_s, u"cmd"_s);
    APP_TRY_COMPARE(m_desktop->read(u"keys.txt"_s), "tAwo three\n"_ba);
    press(u"a"_s, u"control"_s);
    type(u"all new"_s);
    press(u"s"_s, u"Command"_s);
    APP_TRY_COMPARE(m_desktop->read(u"keys.txt"_s).trimmed(), "all new"_ba);
}

void tst_DesktopEditors::unsavedWorkKeepsTheApplication_data()
{
    QTest::addColumn<QString>("editor");
    QTest::addColumn<QString>("button");
    QTest::newRow("GTK 3") << u"Mousepad"_s << u"Don't Save"_s;
    QTest::newRow("Qt") << u"FeatherPad"_s << u"Discard changes"_s;
}

void tst_DesktopEditors::unsavedWorkKeepsTheApplication()
{
    QFETCH(const QString, editor);
    QFETCH(const QString, button);
    open(editor, u"unsaved.txt"_s, "before\n");
    const ProcessId pid = processOf(editor);
    type(u"after "_s);
    APP_TRY_VERIFY(isMarkedUnsaved());
    const qsizetype before = windows().size();
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, editor}}),
             u"Asked "_s + editor + u" to quit (it may be waiting on a save prompt)."_s);
    APP_TRY_COMPARE(windows().size(), before + 1);
    QVERIFY(!Platform::current().workspace().hasTerminated(pid));
    APP_TRY_VERIFY(readUI().contains(u"Button: "_s + button));
    click(button);
    APP_TRY_VERIFY(Platform::current().workspace().hasTerminated(pid));
    QCOMPARE(m_desktop->read(u"unsaved.txt"_s), "before\n"_ba);
}

void tst_DesktopEditors::thePromptSaves()
{
    open(u"Mousepad"_s, u"prompt.txt"_s, "before\n");
    const ProcessId pid = processOf(u"Mousepad"_s);
    type(u"after "_s);
    APP_TRY_VERIFY(isMarkedUnsaved());
    (void)outcome(u"quit_app"_s, {{u"app"_s, u"Mousepad"_s}});
    APP_TRY_VERIFY(readUI().contains(u"Button: Don't Save"_s));
    click(u"save"_s);
    APP_TRY_VERIFY(Platform::current().workspace().hasTerminated(pid));
    QCOMPARE(m_desktop->read(u"prompt.txt"_s), "after before\n"_ba);
}

void tst_DesktopEditors::keysGoToTheWindowInFront()
{
    open(u"Mousepad"_s, u"first.txt"_s, "\n");
    open(u"FeatherPad"_s, u"second.txt"_s, "\n");
    type(u"two"_s);
    press(u"s"_s, u"command"_s);
    APP_TRY_COMPARE(m_desktop->read(u"second.txt"_s).trimmed(), "two"_ba);
    QCOMPARE(outcome(u"focus_app"_s, {{u"app"_s, u"mousepad"_s}}), u"Mousepad is now frontmost."_s);
    APP_TRY_COMPARE(frontName(), u"Mousepad"_s);
    type(u"one"_s);
    press(u"s"_s, u"command"_s);
    APP_TRY_COMPARE(m_desktop->read(u"first.txt"_s).trimmed(), "one"_ba);
    QCOMPARE(m_desktop->read(u"second.txt"_s).trimmed(), "two"_ba);
}

void tst_DesktopEditors::anEditorThatHangsIsNotWaitedForForever()
{
    open(u"Mousepad"_s, u"hung.txt"_s, "text\n");
    const auto pid = static_cast<pid_t>(processOf(u"Mousepad"_s));
    APP_TRY_VERIFY(readUI().contains(u"MenuItem: Save"_s));
    QCOMPARE(::kill(pid, SIGSTOP), 0);
    QCOMPARE(outcome(u"click"_s, {{u"label"_s, u"Save"_s}}),
             u"ActionError: “Mousepad” doesn't respond."_s);
    QCOMPARE(readUI(), u"ActionError: “Mousepad” doesn't respond."_s);
    QCOMPARE(frontName(), u"Mousepad"_s);
    QCOMPARE(::kill(pid, SIGCONT), 0);
    APP_TRY_VERIFY(readUI().contains(u"MenuItem: Save"_s));
    type(u"still "_s);
    press(u"s"_s, u"command"_s);
    APP_TRY_COMPARE(m_desktop->read(u"hung.txt"_s), "still text\n"_ba);
}

QTEST_GUILESS_MAIN(tst_DesktopEditors)
#include "tst_DesktopEditors.moc"
