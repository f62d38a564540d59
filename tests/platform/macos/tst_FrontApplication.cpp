#include "platform/macos/FrontApplication.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
Application ourselves()
{
    return {.pid = ProcessId{QCoreApplication::applicationPid()}, .name = u"Quillon"_s};
}

WindowInfo window(qint64 owner, int layer = 0, const std::optional<QString> &name = {})
{
    return {.layer = layer, .owner = ProcessId{owner}, .ownerName = name, .title = u"t"_s};
}
} // namespace

class tst_FrontApplication : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isTheFocusedApplication();
    void isTheNextOneBehindOurOwn();
    void usesTheWindowIfTheSystemDoesNotTell();
    void mayBeNoneBehindOurOwn();
    void isNeverAnotherProcessOfOurs();
    void isNotOurTerminal();

private:
    [[nodiscard]] std::optional<Application> front(const std::optional<Application> &focused)
    {
        return frontApplication(focused, m_platform.fakeWorkspace, m_platform.fakeScreen);
    }

    FakePlatform m_platform;
};

void tst_FrontApplication::isTheFocusedApplication()
{
    const Application notes{.pid = ProcessId{7}, .name = u"Notes"_s};
    m_platform.fakeScreen.shown = {window(8)};
    QCOMPARE(front(notes), notes);
    QCOMPARE(front(std::nullopt), std::nullopt);
}

void tst_FrontApplication::isTheNextOneBehindOurOwn()
{
    const Application notes{.pid = ProcessId{7}, .name = u"Notes"_s, .location = u"/n"_s};
    m_platform.fakeWorkspace.running = {{.pid = ProcessId{8}, .name = u"Mail"_s}, notes};
    m_platform.fakeScreen.shown = {
        window(QCoreApplication::applicationPid()), window(8, 25),
        WindowInfo{.layer = 0, .owner = {}, .ownerName = {}, .title = {}}, window(7), window(8)};
    QCOMPARE(front(ourselves()), notes);
}

void tst_FrontApplication::usesTheWindowIfTheSystemDoesNotTell()
{
    m_platform.fakeWorkspace.running.clear();
    m_platform.fakeScreen.shown = {window(9, 0, u"Odd"_s)};
    QCOMPARE(front(ourselves()), (Application{.pid = ProcessId{9}, .name = u"Odd"_s}));
}

void tst_FrontApplication::mayBeNoneBehindOurOwn()
{
    m_platform.fakeScreen.shown = {window(QCoreApplication::applicationPid()), window(8, 25)};
    QCOMPARE(front(ourselves()), std::nullopt);
    m_platform.fakeScreen.shown.reset();
    QCOMPARE(front(ourselves()), std::nullopt);
}

void tst_FrontApplication::isNeverAnotherProcessOfOurs()
{
    const Application other{.pid = ProcessId{7}, .name = u"Quillon"_s};
    m_platform.fakeWorkspace.own.insert(other.pid);
    m_platform.fakeScreen.shown = {window(7)};
    QCOMPARE(front(other), std::nullopt);
    QCOMPARE(front(ourselves()), std::nullopt);
    m_platform.fakeScreen.shown = {window(7), window(8, 0, u"Notes"_s)};
    QCOMPARE(front(other), (Application{.pid = ProcessId{8}, .name = u"Notes"_s}));
}

void tst_FrontApplication::isNotOurTerminal()
{
    const Application terminal{.pid = ProcessId{50}, .name = u"Terminal"_s};
    m_platform.fakeWorkspace.running = {terminal, {.pid = ProcessId{8}, .name = u"Mail"_s}};
    m_platform.fakeScreen.shown = {window(50), window(50), window(8)};
    QCOMPARE(front(terminal), terminal);
    m_platform.fakeWorkspace.own.insert(terminal.pid);
    QCOMPARE(front(terminal), m_platform.fakeWorkspace.running[1]);
}

QTEST_GUILESS_MAIN(tst_FrontApplication)
#include "tst_FrontApplication.moc"
