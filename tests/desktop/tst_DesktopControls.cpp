#include "tests/desktop/Desktop.h"

#include <QFile>

#include <functional>

using namespace Qt::StringLiterals;

// A calculator with GTK 4, dialogs with GTK 3 and a terminal without a toolkit: their controls,
// their results and their output.
class tst_DesktopControls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void aCalculationByItsButtons();
    void aCalculationByTheKeyboard();
    void anAnswerIsTypedAndConfirmed();
    void aQuestionIsAnsweredByAButton_data();
    void aQuestionIsAnsweredByAButton();
    void aControlThatIsNotThereIsTold();
    void aPasswordIsNotRead();
    void aDialogThatVanishesIsNoTrouble();
    void aCommandRunsInTheTerminal();
    void aProgramInTheTerminalIsInterrupted();

private:
    void openCalculator()
    {
        QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Calculator"_s}}),
                 u"Calculator is now frontmost."_s);
        APP_TRY_VERIFY(readUI().contains(u"Button: = ="_s));
    }

    // Shows a dialog that waits for an answer.
    QProcess &ask(const QStringList &options, const QString &text)
    {
        QProcess &dialog = m_desktop->start(u"zenity"_s, options + QStringList{u"--text"_s, text});
        APP_TRY_WAIT(readUI().contains(text));
        return dialog;
    }

    // A terminal drops keys until it has processed the focus change.
    static void untilTheTerminalHears(const std::function<bool()> &hasHeard, const QString &action,
                                      const QMap<QString, QString> &args)
    {
        for (const QDeadlineTimer limit(appLimit); !hasHeard() && !limit.hasExpired();) {
            (void)outcome(action, args);
            (void)QTest::qWaitFor(hasHeard, 3000);
        }
        QVERIFY(hasHeard());
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_DesktopControls::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->enableAccessibility();
    m_desktop->install(u"org.gnome.Calculator.desktop"_s);
    m_desktop->install(u"debian-xterm.desktop"_s);
}

void tst_DesktopControls::cleanup()
{
    closeEverything();
}

void tst_DesktopControls::aCalculationByItsButtons()
{
    openCalculator();
    // Starts again if the calculator was too busy to confirm a press.
    const auto clicked = [](const QString &label) {
        return outcome(u"click"_s, {{u"label"_s, label}}) == u"Clicked “"_s + label + u"”."_s;
    };
    for (const QDeadlineTimer limit(appLimit); !limit.hasExpired();) {
        if (clicked(u"7"_s) && clicked(u"×"_s) && clicked(u"8"_s) && clicked(u"="_s))
            break;
        press(u"escape"_s);
    }
    APP_TRY_VERIFY(readUI().contains(u"TextField: 56 |"_s));
}

void tst_DesktopControls::aCalculationByTheKeyboard()
{
    openCalculator();
    type(u"12*12-100\n"_s);
    APP_TRY_VERIFY(readUI().contains(u"TextField: 44 |"_s));
    press(u"Escape"_s);
    APP_TRY_VERIFY(!readUI().contains(u"TextField: 44"_s));
}

void tst_DesktopControls::anAnswerIsTypedAndConfirmed()
{
    QProcess &dialog = ask({u"--entry"_s}, u"What is your name?"_s);
    type(u"Ada Lövelace"_s);
    click(u"OK"_s);
    APP_TRY_COMPARE(dialog.state(), QProcess::NotRunning);
    QCOMPARE(QString::fromUtf8(dialog.readAllStandardOutput()), u"Ada Lövelace\n"_s);
    QCOMPARE(dialog.exitCode(), 0);
}

void tst_DesktopControls::aQuestionIsAnsweredByAButton_data()
{
    QTest::addColumn<QString>("label");
    QTest::addColumn<int>("status");
    QTest::newRow("Yes") << u"yes"_s << 0;
    QTest::newRow("No") << u"No"_s << 1;
}

void tst_DesktopControls::aQuestionIsAnsweredByAButton()
{
    QFETCH(const QString, label);
    QFETCH(const int, status);
    const QProcess &dialog = ask({u"--question"_s}, u"Shall it be?"_s);
    click(label);
    APP_TRY_COMPARE(dialog.state(), QProcess::NotRunning);
    QCOMPARE(dialog.exitCode(), status);
}

void tst_DesktopControls::aControlThatIsNotThereIsTold()
{
    const QProcess &dialog = ask({u"--question"_s}, u"Shall it be?"_s);
    QCOMPARE(outcome(u"click"_s, {{u"label"_s, u"Perhaps"_s}}),
             u"ActionError: Couldn't find a control labelled “Perhaps”."_s);
    // It is a text, not a control.
    QCOMPARE(outcome(u"click"_s, {{u"label"_s, u"Shall it be?"_s}}),
             u"ActionError: Couldn't find a control labelled “Shall it be?”."_s);
    QCOMPARE(dialog.state(), QProcess::Running);
}

void tst_DesktopControls::aPasswordIsNotRead()
{
    QProcess &dialog = ask({u"--entry"_s, u"--hide-text"_s}, u"Your secret?"_s);
    type(u"hunter2"_s);
    QString told;
    APP_TRY_VERIFY((told = readUI()).contains(u"Your secret?"_s));
    QVERIFY2(!told.contains(u"hunter"_s), qPrintable(told));
    click(u"OK"_s);
    APP_TRY_COMPARE(dialog.state(), QProcess::NotRunning);
    QCOMPARE(dialog.readAllStandardOutput(), "hunter2\n"_ba);
}

void tst_DesktopControls::aDialogThatVanishesIsNoTrouble()
{
    QProcess &dialog = ask({u"--question"_s}, u"Shall it be?"_s);
    dialog.kill();
    QVERIFY(dialog.waitForFinished());
    const QString told = outcome(u"click"_s, {{u"label"_s, u"Yes"_s}});
    QVERIFY2(told == u"ActionError: No frontmost app."_s ||
                 told == u"ActionError: Another application has come to the front meanwhile."_s ||
                 told == u"ActionError: Couldn't find a control labelled “Yes”."_s,
             qPrintable(told));
    APP_TRY_COMPARE(readUI(), u"ActionError: No frontmost app."_s);
}

void tst_DesktopControls::aCommandRunsInTheTerminal()
{
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Terminal"_s}}), u"XTerm is now frontmost."_s);
    APP_TRY_COMPARE(frontName(), u"XTerm"_s);
    untilTheTerminalHears([&] { return m_desktop->read(u"heard"_s) == "here\n"; }, u"type_text"_s,
                          {{u"text"_s, u" echo here > \"$HOME/heard\"\n"_s}});
    type(u"printf '%s' \"a|b~c\\\\d{e}\" > \"$HOME/written\"; echo done > \"$HOME/all\"\n"_s);
    APP_TRY_COMPARE(m_desktop->read(u"all"_s), "done\n"_ba);
    QCOMPARE(m_desktop->read(u"written"_s), "a|b~c\\d{e}"_ba);
}

void tst_DesktopControls::aProgramInTheTerminalIsInterrupted()
{
    const QString script = m_desktop->writeScript(
        u"waiting"_s, "trap 'echo interrupted > \"$HOME/end\"; exit' INT\n"
                      "echo ready > \"$HOME/start\"\nwhile :; do sleep 0.1; done\n");
    const QProcess &terminal = m_desktop->start(u"xterm"_s, {u"-e"_s, script});
    APP_TRY_COMPARE(m_desktop->read(u"start"_s), "ready\n"_ba);
    APP_TRY_COMPARE(frontName(), u"XTerm"_s);
    const auto hasEnded = [&] { return terminal.state() == QProcess::NotRunning; };
    untilTheTerminalHears(hasEnded, u"press_key"_s,
                          {{u"key"_s, u"c"_s}, {u"modifiers"_s, u"control"_s}});
    QCOMPARE(m_desktop->read(u"end"_s), "interrupted\n"_ba);
}

QTEST_GUILESS_MAIN(tst_DesktopControls)
#include "tst_DesktopControls.moc"
