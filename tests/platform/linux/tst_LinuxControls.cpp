#include "platform/Platform.h"
#include "tests/executor/Running.h"
#include "tests/support/HttpServer.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
// On a busy machine, an application may answer late. Then nothing has been pressed yet.
QString patiently(const QString &name, const QMap<QString, QString> &args = {})
{
    QString told;
    for (const QDeadlineTimer limit(eventually); !limit.hasExpired();) {
        told = outcome(name, args);
        if (!told.endsWith(u"doesn't respond."_s))
            break;
    }
    return told;
}

QString click(const QString &label)
{
    return patiently(u"click"_s, {{u"label"_s, label}});
}

QString readUI()
{
    return patiently(u"read_ui"_s);
}

bool reads(const QString &line)
{
    return readUI().split(u" | "_s).contains(line);
}

bool isInFront(const QProcess &process)
{
    const std::optional<Application> front = Platform::current().workspace().frontmostApplication();
    return front && front->pid == ProcessId{process.processId()};
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The lines of the golden file that are missing in the text, which must have all of them in order.
// Further lines are allowed: other versions have other controls, and some contain the user's name.
// To create a file again, delete it and run this test.
QString missingFrom(const QString &read, const QString &golden)
{
    const QString path = u"" GOLDEN_FOLDER "/"_s + golden + u".txt"_s;
    QStringList lines = read.split(u" | "_s);
    if (!QFile::exists(path)) {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return u"The file cannot be written."_s;
        file.write(lines.join(u'\n').toUtf8() + '\n');
        return u"There was no file; look at the one that was written."_s;
    }
    for (const QString &expected : QString::fromUtf8(contentOf(path).trimmed()).split(u'\n')) {
        const qsizetype at = lines.indexOf(expected);
        if (at < 0)
            return expected + u" is missing in: "_s + read;
        lines.remove(0, at + 1);
    }
    return {};
}
} // namespace

class tst_LinuxControls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void anEditorsMenusWork();
    void aDialogEndsWithTheButtonThatIsPressed_data();
    void aDialogEndsWithTheButtonThatIsPressed();
    void aCalculatorCalculates();
    void anEditorOfAnotherToolkitOpensItsPreferences();
    void ordinaryControlsAnswerToTheirLabels();
    void whatTheUserCannotSeeIsNotRead();
    void pagesAndLinksOfABrowserAreReached();
    void aBrowserThatTellsNothingSaysWhatToDo();
    void pagesOfANotebookBehindTheOneInFrontAreNotReached();

    void dumpsAreAsBefore_data();
    void dumpsAreAsBefore();

private:
    QProcess &start(const QString &program, const QStringList &arguments = {});

    std::unique_ptr<VirtualDesktop> m_desktop;
    QList<QProcess *> m_started;
};

void tst_LinuxControls::initTestCase()
{
    qputenv("LC_ALL", "C.UTF-8");
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->enableAccessibility();
    m_desktop->write(u"Papers/Letter.txt"_s, "Dear reader\n");
}

void tst_LinuxControls::cleanup()
{
    for (QProcess *const process : std::as_const(m_started)) {
        process->kill();
        process->waitForFinished();
    }
    m_started.clear();
    QTRY_VERIFY(!Platform::current().workspace().frontmostApplication());
}

QProcess &tst_LinuxControls::start(const QString &program, const QStringList &arguments)
{
    QProcess &process = m_desktop->start(program, arguments);
    m_started.append(&process);
    return process;
}

void tst_LinuxControls::anEditorsMenusWork()
{
    m_desktop->write(u"list.txt"_s, "one\ntwo\n");
    const QProcess &editor = start(u"mousepad"_s, {m_desktop->home(u"list.txt"_s)});
    QTRY_VERIFY(isInFront(editor));
    QTRY_VERIFY(reads(u"MenuItem: Delete Line"_s));
    // The menus stay closed.
    QTRY_VERIFY(Executor::windowSummary().contains(u"list.txt"_s));
    QCOMPARE(click(u"Delete Line"_s), u"Clicked “Delete Line”."_s);
    QTRY_VERIFY(Executor::windowSummary().contains(u"*"_s));
    QCOMPARE(click(u"Save"_s), u"Clicked “Save”."_s);
    QTRY_COMPARE(contentOf(m_desktop->home(u"list.txt"_s)), "two\n");
}

void tst_LinuxControls::aDialogEndsWithTheButtonThatIsPressed_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("status");
    QTest::newRow("yes") << u"Yes"_s << 0;
    QTest::newRow("no") << u"No"_s << 1;
}

void tst_LinuxControls::aDialogEndsWithTheButtonThatIsPressed()
{
    QFETCH(const QString, button);
    QFETCH(const int, status);
    QProcess &dialog = start(u"zenity"_s, {u"--question"_s, u"--text=Really?"_s});
    QTRY_VERIFY(isInFront(dialog) && reads(u"Button: "_s + button));
    QCOMPARE(click(button), u"Clicked “"_s + button + u"”."_s);
    QVERIFY(dialog.waitForFinished());
    QCOMPARE(dialog.exitCode(), status);
}

void tst_LinuxControls::aCalculatorCalculates()
{
    const QProcess &calculator = start(u"gnome-calculator"_s);
    QTRY_VERIFY(isInFront(calculator) && readUI().contains(u"Button: 7"_s));
    for (const QString &key : {u"7"_s, u"×"_s, u"6"_s, u"="_s})
        QCOMPARE(click(key), u"Clicked “"_s + key + u"”."_s);
    QTRY_VERIFY(reads(u"TextField: 42"_s));
}

void tst_LinuxControls::anEditorOfAnotherToolkitOpensItsPreferences()
{
    const QProcess &editor = start(u"featherpad"_s);
    QTRY_VERIFY(isInFront(editor) && reads(u"MenuItem: Save As"_s));
    QCOMPARE(click(u"Options"_s), u"Clicked “Options”."_s);
    QCOMPARE(click(u"Preferences"_s), u"Clicked “Preferences”."_s);
    QTRY_VERIFY(Executor::windowSummary().contains(u"Preferences"_s));
    QTRY_VERIFY(reads(u"Tab: Shortcuts"_s));
}

void tst_LinuxControls::ordinaryControlsAnswerToTheirLabels()
{
    QProcess &window = start(u"" CONTROLS_WINDOW ""_s);
    auto told = [&, output = QByteArray()](const QByteArray &line) mutable {
        output += window.readAllStandardOutput();
        return output.split('\n').contains(line);
    };
    QTRY_VERIFY(isInFront(window) && reads(u"Button: Open dialog"_s));
    QCOMPARE(click(u"greet"_s), u"Clicked “greet”."_s);
    QTRY_VERIFY(told("greeted"));
    QCOMPARE(click(u"Wave"_s), u"Clicked “Wave”."_s);
    QTRY_VERIFY(told("waved"));
    QCOMPARE(click(u"Check me"_s), u"Clicked “Check me”."_s);
    QTRY_VERIFY(told("checked"));
    QCOMPARE(click(u"Check me"_s), u"Clicked “Check me”."_s);
    QTRY_VERIFY(told("unchecked"));
    QCOMPARE(click(u"choose"_s), u"Clicked “choose”."_s);
    QTRY_VERIFY(told("chosen"));
    QCOMPARE(click(u"Not now"_s), u"ActionError: “Not now” didn't respond to a click."_s);
    // The application answers the press only after the dialog is closed.
    QCOMPARE(click(u"Open dialog"_s), u"Clicked “Open dialog”."_s);
    QTRY_VERIFY(told("dialog opened"));
    QTRY_VERIFY(reads(u"Button: Close the dialog"_s));
    QCOMPARE(click(u"Close the dialog"_s), u"Clicked “Close the dialog”."_s);
    QTRY_VERIFY(told("dialog closed"));
    QCOMPARE(click(u"Second"_s), u"Clicked “Second”."_s);
    QTRY_COMPARE(click(u"Behind"_s), u"Clicked “Behind”."_s);
    QTRY_VERIFY(told("behind"));
}

void tst_LinuxControls::whatTheUserCannotSeeIsNotRead()
{
    const QProcess &window = start(u"" CONTROLS_WINDOW ""_s);
    QTRY_VERIFY(isInFront(window) && reads(u"Button: Open dialog"_s));
    const QString read = readUI();
    QVERIFY2(read.contains(u"TextField: typed text"_s), qPrintable(read));
    for (const QString &unseen : {u"secret"_s, u"Hidden"_s, u"Behind"_s, u"closed window"_s})
        QVERIFY2(!read.contains(unseen), qPrintable(read));
    for (const QString &label : {u"Hidden"_s, u"Behind"_s, u"In a closed window"_s}) {
        QCOMPARE(click(label),
                 u"ActionError: Couldn't find a control labelled “"_s + label + u"”."_s);
    }
}

void tst_LinuxControls::pagesAndLinksOfABrowserAreReached()
{
    HttpServer server;
    server.setAnswer(u"/"_s,
                     {.body = "<!DOCTYPE html><title>Shop</title><h1>Welcome</h1>"
                              "<button onclick=\"document.title='Bought'\">Buy now</button>"
                              "<p><a href='/next'>To the next page</a></p>"
                              "<input type=password value=secret aria-label='Your password'>",
                      .headers = {"Content-Type: text/html"}});
    server.setAnswer(u"/next"_s, {.body = "<!DOCTYPE html><title>Next</title>"
                                          "<button>You are there</button>",
                                  .headers = {"Content-Type: text/html"}});
    start(u"chromium"_s,
          {u"--no-sandbox"_s, u"--force-renderer-accessibility"_s, u"--no-first-run"_s,
           u"--disable-gpu"_s, u"--no-default-browser-check"_s, u"--password-store=basic"_s,
           u"--user-data-dir="_s + m_desktop->home(u"chromium"_s), server.url(u"/"_s).toString()});
    QTRY_VERIFY(reads(u"Button: Buy now"_s));
    QString missing;
    const auto isComplete = [&missing] {
        missing = missingFrom(readUI(), u"chromium-page"_s);
        return missing.isEmpty();
    };
    QTRY_VERIFY2(isComplete(), qPrintable(missing));
    QVERIFY2(!readUI().contains(u"secret"_s), qPrintable(readUI()));
    QCOMPARE(click(u"Buy now"_s), u"Clicked “Buy now”."_s);
    QTRY_VERIFY(Executor::windowSummary().contains(u"Bought"_s));
    QCOMPARE(click(u"to the next page"_s), u"Clicked “to the next page”."_s);
    QTRY_VERIFY(reads(u"Button: You are there"_s));
}

void tst_LinuxControls::aBrowserThatTellsNothingSaysWhatToDo()
{
    start(u"chromium"_s,
          {u"--no-sandbox"_s, u"--no-first-run"_s, u"--disable-gpu"_s,
           u"--no-default-browser-check"_s, u"--password-store=basic"_s,
           u"--user-data-dir="_s + m_desktop->home(u"closed-chromium"_s), u"about:blank"_s});
    const QString hint = u"shows no controls: quit it and let Quillon open it, or start it with "
                         "--force-renderer-accessibility."_s;
    QTRY_VERIFY2(readUI().endsWith(hint), qPrintable(readUI()));
    const QString told = click(u"Buy now"_s);
    QVERIFY2(told.endsWith(hint), qPrintable(told));
}

void tst_LinuxControls::pagesOfANotebookBehindTheOneInFrontAreNotReached()
{
    QProcess &window = start(u"" NOTEBOOK_WINDOW ""_s);
    QTRY_VERIFY(isInFront(window) && reads(u"Button: Buy now"_s));
    QVERIFY2(!reads(u"Button: Only behind"_s), qPrintable(readUI()));
    QCOMPARE(click(u"Only behind"_s),
             u"ActionError: Couldn't find a control labelled “Only behind”."_s);
    QCOMPARE(click(u"Buy now"_s), u"Clicked “Buy now”."_s);
    QByteArray output;
    const auto told = [&output, &window] { return output += window.readAllStandardOutput(); };
    QTRY_COMPARE(told(), "bought in front\n"_ba);
}

void tst_LinuxControls::dumpsAreAsBefore_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("lastLine");
    QTest::newRow("mousepad") << u"mousepad"_s << QStringList() << u"MenuItem: Find Next"_s;
    QTest::newRow("zenity") << u"zenity"_s << QStringList{u"--question"_s, u"--text=Really?"_s}
                            << u"Button: Yes"_s;
    QTest::newRow("gnome-calculator") << u"gnome-calculator"_s << QStringList() << u"Button: = ="_s;
    QTest::newRow("featherpad") << u"featherpad"_s << QStringList() << u"MenuItem: Undo"_s;
    // GTK 2 uses the bus only if the session sets this variable.
    QTest::newRow("pcmanfm") << u"env"_s
                             << QStringList{u"GTK_MODULES=gail:atk-bridge"_s, u"pcmanfm"_s,
                                            m_desktop->home(u"Papers"_s)}
                             << u"MenuItem: Folder View Mode"_s;
    QTest::newRow("controls") << u"" CONTROLS_WINDOW ""_s << QStringList() << u"MenuItem: Wave"_s;
}

void tst_LinuxControls::dumpsAreAsBefore()
{
    QFETCH(const QString, program);
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, lastLine);
    const QProcess &process = start(program, arguments);
    QTRY_VERIFY(isInFront(process) && reads(lastLine));
    const QString golden = QString::fromUtf8(QTest::currentDataTag());
    QString missing;
    const auto isComplete = [&missing, &golden] {
        missing = missingFrom(readUI(), golden);
        return missing.isEmpty();
    };
    QTRY_VERIFY2(isComplete(), qPrintable(missing));
}

QTEST_GUILESS_MAIN(tst_LinuxControls)
#include "tst_LinuxControls.moc"
