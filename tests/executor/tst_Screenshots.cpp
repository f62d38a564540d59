#include "executor/Actions.h"
#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/Waiting.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <ctime>

using namespace Qt::StringLiterals;

class tst_Screenshots : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void namesContainTheTime_data();
    void namesContainTheTime();
    void theTimeIsTheLocalTime();
    void whereScreenshotsAreSaved_data();
    void whereScreenshotsAreSaved();
    void aCaptureThatLeavesNoFileHasFailed();
    void anExistingFileCounts();
    void doesNotFollowALink_data();
    void doesNotFollowALink();
    void aFailedCaptureHasThePlatformsSentence();
    void checksTheFileAfterTheCapture();
    void refusesAFolderWithANullCharacter();

private:
    [[nodiscard]] QString at(const QString &entry) const { return m_home->filePath(entry); }

    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<FakePlatform> m_platform;
    FakeScreen *m_screen = nullptr;
};

void tst_Screenshots::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    qputenv("HOME", m_home->path().toUtf8());
    for (const QString &folder : {u"Desktop"_s, u"Downloads"_s, u"Documents"_s})
        QVERIFY(QDir(m_home->path()).mkdir(folder));
    m_platform = std::make_unique<FakePlatform>();
    m_screen = &m_platform->fakeScreen;
}

void tst_Screenshots::cleanup()
{
    m_screen = nullptr;
    m_platform.reset();
    m_home.reset();
}

void tst_Screenshots::namesContainTheTime_data()
{
    QTest::addColumn<QDateTime>("moment");
    QTest::addColumn<QString>("name");
    QTest::newRow("afternoon") << QDateTime({2025, 3, 7}, {14, 5, 9})
                               << u"Screenshot 2025-03-07 at 14.05.09.png"_s;
    QTest::newRow("midnight") << QDateTime({2026, 12, 31}, {0, 0, 0, 999})
                              << u"Screenshot 2026-12-31 at 00.00.00.png"_s;
    QTest::newRow("elsewhere") << QDateTime({2025, 3, 7}, {23, 59, 59}, QTimeZone(5 * 3600))
                               << u"Screenshot 2025-03-07 at 23.59.59.png"_s;
}

void tst_Screenshots::namesContainTheTime()
{
    QFETCH(const QDateTime, moment);
    QTEST(Executor::Actions::screenshotName(moment), "name");
    // File names do not depend on the locale's digits and names.
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt));
    QTEST(Executor::Actions::screenshotName(moment), "name");
    QLocale::setDefault(before);
}

void tst_Screenshots::theTimeIsTheLocalTime()
{
    qputenv("TZ", "<-11>11:00");
    tzset();
    const QDateTime before = QDateTime::currentDateTime();
    const QString told = outcome(u"screenshot"_s);
    const QDateTime after = QDateTime::currentDateTime();
    const QRegularExpression pattern(u"^Saved screenshot to .*/(Screenshot [^/]*\\.png)\\.$"_s);
    const QString name = pattern.match(told).captured(1);
    QVERIFY2(Executor::Actions::screenshotName(before) <= name, qPrintable(told));
    QVERIFY2(name <= Executor::Actions::screenshotName(after), qPrintable(told));
}

void tst_Screenshots::whereScreenshotsAreSaved_data()
{
    QTest::addColumn<QString>("saveTo");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("place");
    QTest::newRow("nowhere") << u""_s << u""_s << u"Downloads"_s;
    QTest::newRow("save_to") << u"my documents"_s << u"Desktop"_s << u"Documents"_s;
    QTest::newRow("folder") << u" "_s << u"~/Desktop"_s << u"Desktop"_s;
}

void tst_Screenshots::whereScreenshotsAreSaved()
{
    QFETCH(const QString, saveTo);
    QFETCH(const QString, folder);
    QFETCH(const QString, place);
    const QString told = outcome(u"screenshot"_s, {{u"save_to"_s, saveTo}, {u"folder"_s, folder}});
    const QStringList files = QDir(at(place)).entryList(QDir::Files);
    QCOMPARE(files.size(), 1);
    const QString path = at(place + u'/' + files[0]);
    QCOMPARE(told, u"Saved screenshot to "_s + path + u'.');
    QCOMPARE(m_screen->captured, QList<std::filesystem::path>{path.toStdString()});
}

void tst_Screenshots::aCaptureThatLeavesNoFileHasFailed()
{
    m_screen->permitsCapture = false;
    QCOMPARE(outcome(u"screenshot"_s),
             u"ActionError: The screenshot failed. Screen Recording permission may be required."_s);
    QCOMPARE(m_screen->captured.size(), 1);
}

void tst_Screenshots::anExistingFileCounts()
{
    m_screen->permitsCapture = false;
    QFile file(at(u"old.png"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const auto shoot = [](const QString &path) -> QCoro::Task<QString> {
        co_await Executor::screenshot(path);
        co_return u"saved"_s;
    };
    QCOMPARE(outcome(shoot(file.fileName())), u"saved"_s);
}

void tst_Screenshots::doesNotFollowALink_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("to a file") << u"precious.txt"_s;
    QTest::newRow("to nothing") << u"nothing.txt"_s;
    QTest::newRow("to a folder") << u"Documents"_s;
    QTest::newRow("to itself") << u"picture.png"_s;
}

void tst_Screenshots::doesNotFollowALink()
{
    QFETCH(const QString, target);
    QFile precious(at(u"precious.txt"_s));
    QVERIFY(precious.open(QIODevice::WriteOnly));
    QVERIFY(precious.write("kept") == 4 && precious.flush());
    QVERIFY(QFile::link(at(target), at(u"picture.png"_s)));
    const auto shoot = [](const QString &path) -> QCoro::Task<QString> {
        co_await Executor::screenshot(path);
        co_return u"saved"_s;
    };
    QCOMPARE(
        outcome(shoot(at(u"picture.png"_s))),
        u"ActionError: The screenshot isn't saved: “picture.png” is a link to another place."_s);
    QVERIFY(m_screen->captured.isEmpty());
    QCOMPARE(precious.size(), 4);
    QVERIFY(!QFile::exists(at(u"nothing.txt"_s)));
}

void tst_Screenshots::aFailedCaptureHasThePlatformsSentence()
{
    m_screen->failure = u"There is no such tool."_s;
    QCOMPARE(outcome(u"screenshot"_s), u"PlatformError: There is no such tool."_s);
}

void tst_Screenshots::checksTheFileAfterTheCapture()
{
    m_screen->holdsCaptures = true;
    std::optional<QString> result;
    const auto run = [&result]() -> QCoro::Task<> {
        result = co_await told(Executor::run(action(u"screenshot"_s)));
    };
    const QCoro::Task<> task = run();
    QCoreApplication::processEvents();
    QVERIFY(!result);
    m_screen->finishCapture();
    QTRY_VERIFY(result);
    QVERIFY2(result->startsWith(u"Saved screenshot to "_s), qPrintable(*result));
}

void tst_Screenshots::refusesAFolderWithANullCharacter()
{
    const QString folder = u"a"_s + QChar::Null + u"b"_s;
    QCOMPARE(outcome(u"screenshot"_s, {{u"folder"_s, folder}}),
             u"PlatformError: Invalid argument"_s);
    QVERIFY(m_screen->captured.isEmpty());
}

QTEST_GUILESS_MAIN(tst_Screenshots)
#include "tst_Screenshots.moc"
