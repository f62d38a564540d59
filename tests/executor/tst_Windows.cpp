#include "executor/Executor.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
WindowInfo window(const std::optional<QString> &owner, const std::optional<QString> &title = {})
{
    return {.layer = 0, .owner = ProcessId{1}, .ownerName = owner, .title = title};
}
} // namespace

class tst_Windows : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsInTheOrderOfTheScreen();
    void skipsOtherWindows_data();
    void skipsOtherWindows();
    void listsEqualEntriesOnce();
    void listsEightWindowsAtMost();
    void listsNoneWithoutAnAnswer();
    void observeReturnsTheFrontAndTheWindows();
    void aFrontWithoutANameIsUnknown();
};

void tst_Windows::listsInTheOrderOfTheScreen()
{
    FakePlatform platform;
    platform.fakeScreen.shown = {window(u"Safari"_s, u"Apple"_s),
                                 window(u"Finder"_s, u"Downloads"_s), window(u"Notes"_s),
                                 window(u"Mail"_s, u""_s)};
    QCOMPARE(Executor::windowSummary(), u"Safari — Apple; Finder — Downloads; Notes; Mail"_s);
}

void tst_Windows::skipsOtherWindows_data()
{
    QTest::addColumn<std::optional<int>>("layer");
    QTest::addColumn<std::optional<qint64>>("owner");
    QTest::addColumn<std::optional<QString>>("name");
    QTest::addColumn<QString>("summary");
    using Layer = std::optional<int>;
    using Owner = std::optional<qint64>;
    using Name = std::optional<QString>;
    const Name notes = u"Notes"_s;
    QTest::newRow("ordinary") << Layer(0) << Owner(1) << notes << u"Notes — t"_s;
    QTest::newRow("owner unknown") << Layer(0) << Owner() << notes << u"Notes — t"_s;
    QTest::newRow("above") << Layer(3) << Owner(1) << notes << u"none"_s;
    QTest::newRow("below") << Layer(-1) << Owner(1) << notes << u"none"_s;
    QTest::newRow("layer unknown") << Layer() << Owner(1) << notes << u"none"_s;
    QTest::newRow("our own") << Layer(0) << Owner(QCoreApplication::applicationPid()) << notes
                             << u"none"_s;
    QTest::newRow("nameless") << Layer(0) << Owner(1) << Name() << u"none"_s;
    QTest::newRow("empty name") << Layer(0) << Owner(1) << Name(u""_s) << u"none"_s;
}

void tst_Windows::skipsOtherWindows()
{
    QFETCH(const std::optional<int>, layer);
    QFETCH(const std::optional<qint64>, owner);
    QFETCH(const std::optional<QString>, name);
    QFETCH(const QString, summary);
    FakePlatform platform;
    WindowInfo info{.layer = layer, .owner = {}, .ownerName = name, .title = u"t"_s};
    if (owner)
        info.owner = ProcessId{*owner};
    platform.fakeScreen.shown = {info};
    QCOMPARE(Executor::windowSummary(), summary);
}

void tst_Windows::listsEqualEntriesOnce()
{
    FakePlatform platform;
    platform.fakeScreen.shown = {window(u"Notes"_s, u"a"_s), window(u"Notes"_s, u"b"_s),
                                 window(u"Notes"_s, u"a"_s), window(u"notes"_s, u"a"_s)};
    QCOMPARE(Executor::windowSummary(), u"Notes — a; Notes — b; notes — a"_s);
}

void tst_Windows::listsEightWindowsAtMost()
{
    FakePlatform platform;
    for (int i = 0; i < 9; ++i) {
        // Skipped and repeated windows do not count.
        platform.fakeScreen.shown->append(window(std::nullopt));
        platform.fakeScreen.shown->append(window(QString::number(i)));
        platform.fakeScreen.shown->append(window(QString::number(i)));
    }
    QCOMPARE(Executor::windowSummary(), u"0; 1; 2; 3; 4; 5; 6; 7"_s);
}

void tst_Windows::listsNoneWithoutAnAnswer()
{
    FakePlatform platform;
    QCOMPARE(Executor::windowSummary(), u"none"_s);
    platform.fakeScreen.shown.reset();
    QCOMPARE(Executor::windowSummary(), u"none"_s);
}

void tst_Windows::observeReturnsTheFrontAndTheWindows()
{
    FakePlatform platform;
    QCOMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: none"_s);
    platform.fakeWorkspace.front = Application{.pid = ProcessId{3}, .name = u"Safari"_s};
    platform.fakeScreen.shown = {window(u"Safari"_s, u"Apple"_s)};
    QCOMPARE(Executor::observe(), u"Frontmost app: Safari. Windows: Safari — Apple"_s);
}

void tst_Windows::aFrontWithoutANameIsUnknown()
{
    FakePlatform platform;
    platform.fakeWorkspace.front = Application{.pid = ProcessId{3}};
    QCOMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: none"_s);
    platform.fakeWorkspace.front->name = u""_s;
    QCOMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: none"_s);
}

QTEST_GUILESS_MAIN(tst_Windows)
#include "tst_Windows.moc"
