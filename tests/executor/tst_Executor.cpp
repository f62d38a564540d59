#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const Application notes{.pid = ProcessId{7}, .name = u"Notes"_s};
const Application mail{.pid = ProcessId{8}, .name = u"Mail"_s};
} // namespace

class tst_Executor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusesUnknownNames_data();
    void refusesUnknownNames();
    void reportsMissingArgumentsBeforeDoingAnything_data();
    void reportsMissingArgumentsBeforeDoingAnything();
    void listWindowsReturnsTheSummary();
    void focusIsTheSameAsOpen();
    void someActionsAreForTheApplicationInFront_data();
    void someActionsAreForTheApplicationInFront();
    void refusesToActOnAnotherApplication_data();
    void refusesToActOnAnotherApplication();
    void readsTheGivenApplication();
};

void tst_Executor::refusesUnknownNames_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name : {"scroll", "OPEN_APP", "Open_Url", " open_url", "done", ""})
        QTest::newRow(name) << QString::fromUtf8(name);
}

void tst_Executor::refusesUnknownNames()
{
    QFETCH(const QString, name);
    const FakePlatform platform;
    QCOMPARE(outcome(name), u"ActionError: Unknown action “"_s + name + u"”."_s);
}

void tst_Executor::reportsMissingArgumentsBeforeDoingAnything_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("sentence");
    QTest::newRow("open_app") << u"open_app"_s << u"app"_s << u"Missing app name."_s;
    QTest::newRow("focus_app") << u"focus_app"_s << u"app"_s << u"Missing app name."_s;
    QTest::newRow("quit_app") << u"quit_app"_s << u"app"_s << u"Missing app name."_s;
    QTest::newRow("open_url") << u"open_url"_s << u"url"_s << u"Missing url."_s;
    QTest::newRow("web_search") << u"web_search"_s << u"query"_s << u"Missing query."_s;
    QTest::newRow("press_key") << u"press_key"_s << u"key"_s << u"Missing key."_s;
    QTest::newRow("create_folder") << u"create_folder"_s << u"name"_s << u"Missing folder name."_s;
    QTest::newRow("open_path") << u"open_path"_s << u"path"_s << u"Missing path."_s;
    QTest::newRow("trash") << u"trash"_s << u"path"_s << u"Missing path."_s;
    QTest::newRow("applescript") << u"applescript"_s << u"script"_s << u"Missing script."_s;
}

void tst_Executor::reportsMissingArgumentsBeforeDoingAnything()
{
    QFETCH(const QString, name);
    QFETCH(const QString, key);
    QFETCH(const QString, sentence);
    FakePlatform platform;
    platform.fakeWorkspace.running = {{.pid = ProcessId{7}, .name = u"Notes"_s}};
    const SeenPauses pauses;
    const QMap<QString, QString> other{{u"app"_s == key ? u"url"_s : u"app"_s, u"Notes"_s}};
    QMap<QString, QString> blank = other;
    blank.insert(key, u" \t\n\u00a0"_s);

    QCOMPARE(outcome(name), u"ActionError: "_s + sentence);
    QCOMPARE(outcome(name, other), u"ActionError: "_s + sentence);
    QCOMPARE(outcome(name, blank), u"ActionError: "_s + sentence);
    QVERIFY(platform.fakeWorkspace.opened.isEmpty() && platform.fakeWorkspace.openedWith.isEmpty());
    QVERIFY(platform.fakeWorkspace.launched.isEmpty() &&
            platform.fakeWorkspace.terminated.isEmpty());
    QVERIFY(platform.fakeWorkspace.revealed.isEmpty() && platform.fakeWorkspace.trashed.isEmpty());
    QVERIFY(platform.fakeScripts.sources.isEmpty());
    QVERIFY(pauses.durations.isEmpty());
}

void tst_Executor::listWindowsReturnsTheSummary()
{
    FakePlatform platform;
    QCOMPARE(outcome(u"list_windows"_s), u"none"_s);
    platform.fakeScreen.shown->append(WindowInfo{0, ProcessId{7}, u"Notes"_s, u"Ideas"_s});
    QCOMPARE(outcome(u"list_windows"_s), u"Notes — Ideas"_s);
}

void tst_Executor::focusIsTheSameAsOpen()
{
    FakePlatform platform;
    platform.fakeWorkspace.folders = {u"/apps"_s};
    platform.fakeWorkspace.installed.insert(u"/apps"_s, {{{u"Notes"_s}, u"/apps/Notes.app"_s}});
    const SeenPauses pauses;
    const QMap<QString, QString> args{{u"app"_s, u"notes"_s}};
    QCOMPARE(outcome(u"focus_app"_s, args), u"Notes is now frontmost."_s);
    QCOMPARE(outcome(u"open_app"_s, args), u"Notes is now frontmost."_s);
    QCOMPARE(platform.fakeWorkspace.launched, QStringList(2, u"/apps/Notes.app"_s));
}

void tst_Executor::someActionsAreForTheApplicationInFront_data()
{
    QTest::addColumn<bool>("isForFront");
    for (const char *name : {"new_tab", "type_text", "press_key", "click", "read_ui"})
        QTest::newRow(name) << true;
    for (const char *name :
         {"open_app", "focus_app", "quit_app", "open_url", "web_search", "create_folder",
          "screenshot", "find_files", "open_path", "trash", "list_windows", "applescript", "done"})
        QTest::newRow(name) << false;
}

void tst_Executor::someActionsAreForTheApplicationInFront()
{
    QFETCH(const bool, isForFront);
    FakePlatform platform;
    platform.fakeWorkspace.front = notes;
    int looks = 0;
    platform.fakeWorkspace.afterEachLook = [&] { ++looks; };
    const QString name = QString::fromUtf8(QTest::currentDataTag());
    QCOMPARE(Executor::frontFor(action(name)), isForFront ? std::optional(notes) : std::nullopt);
    QCOMPARE(looks, isForFront ? 1 : 0);
}

void tst_Executor::refusesToActOnAnotherApplication_data()
{
    QTest::addColumn<std::optional<Application>>("front");
    for (const char *name : {"new_tab", "type_text", "press_key", "click"}) {
        QTest::addRow("%s, Mail", name) << std::optional(mail);
        QTest::addRow("%s, another Notes", name)
            << std::optional(Application{.pid = mail.pid, .name = notes.name});
        QTest::addRow("%s, another name", name)
            << std::optional(Application{.pid = notes.pid, .name = mail.name});
        QTest::addRow("%s, none", name) << std::optional<Application>();
    }
}

void tst_Executor::refusesToActOnAnotherApplication()
{
    QFETCH(const std::optional<Application>, front);
    FakePlatform platform;
    platform.fakeWorkspace.front = front;
    platform.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"a"_s});
    const QString name = QString::fromUtf8(QTest::currentDataTag()).section(u',', 0, 0);
    const QMap<QString, QString> args{
        {u"text"_s, u"a"_s}, {u"key"_s, u"a"_s}, {u"label"_s, u"a"_s}};
    QCOMPARE(outcome(Executor::run(action(name, args), notes)),
             u"ActionError: Another application has come to the front meanwhile."_s);
    QVERIFY(platform.fakeKeyboard.events.isEmpty());
    QVERIFY(platform.fakeAccessibility.pressed.isEmpty());
    QVERIFY(platform.fakeWorkspace.activated.isEmpty());
}

void tst_Executor::readsTheGivenApplication()
{
    FakePlatform platform;
    platform.fakeWorkspace.front = mail;
    QCOMPARE(outcome(Executor::run(action(u"read_ui"_s), notes)), u"No readable controls found."_s);
    QCOMPARE(platform.fakeAccessibility.opened, QList{notes.pid});
}

QTEST_GUILESS_MAIN(tst_Executor)
#include "tst_Executor.moc"
