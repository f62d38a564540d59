#include "executor/Executor.h"
#include "platform/Keyboard.h"
#include "platform/Platform.h"
#include "platform/PlatformError.h"
#include "platform/Screen.h"
#include "tests/executor/Running.h"
#include "tests/platform/linux/TestWindow.h"
#include "tests/support/Waiting.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_LinuxWithoutDisplay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void nothingIsInFrontAndNoWindowIsListed();
    void aDisplayThatIsNotThereIsNone();
    void openingSaysWhatIsMissing();
    void revealingDoesNothing();
    void typingSaysWhatIsMissing();
    void noPictureIsTaken();

private:
    QTemporaryDir m_home;
};

void tst_LinuxWithoutDisplay::initTestCase()
{
    qputenv("HOME", m_home.path().toUtf8());
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS",
                             "XDG_RUNTIME_DIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
        qunsetenv(name);
}

void tst_LinuxWithoutDisplay::nothingIsInFrontAndNoWindowIsListed()
{
    QVERIFY(!Platform::current().workspace().frontmostApplication());
    QVERIFY(!Platform::current().screen().windows());
    QVERIFY(Platform::current().workspace().runningApplications().isEmpty());
    QCOMPARE(Executor::observe(), u"Frontmost app: unknown. Windows: none"_s);
}

void tst_LinuxWithoutDisplay::aDisplayThatIsNotThereIsNone()
{
    qputenv("DISPLAY", ":4242");
    QVERIFY(!Platform::current().screen().windows());
    qputenv("DISPLAY", "no display at all");
    QVERIFY(!Platform::current().screen().windows());
    qunsetenv("DISPLAY");
}

void tst_LinuxWithoutDisplay::openingSaysWhatIsMissing()
{
    try {
        Platform::current().workspace().open(QUrl(u"https://example.com"_s)).waitForFinished();
        QFAIL("It opened.");
    } catch (const PlatformError &error) {
        QCOMPARE(error.what(), "There is no display to open applications on.");
    }
}

void tst_LinuxWithoutDisplay::revealingDoesNothing()
{
    Platform::current().workspace().reveal(m_home.path().toStdString());
}

void tst_LinuxWithoutDisplay::noPictureIsTaken()
{
    QCOMPARE(outcome(u"screenshot"_s, {{u"folder"_s, u"home"_s}}),
             u"PlatformError: There is no display to take a picture of."_s);
}

void tst_LinuxWithoutDisplay::typingSaysWhatIsMissing()
{
    const auto source = Platform::current().keyboard().open(u"text"_s, ProcessId{1});
    const QFuture<void> posted = source->post({.isDown = true, .text = u"text"_s});
    QTRY_VERIFY(posted.isFinished());
    try {
        QFuture<void>(posted).waitForFinished();
        QFAIL("It was typed.");
    } catch (const PlatformError &error) {
        QCOMPARE(error.what(), "There is no X server to type on.");
    }
}

QTEST_GUILESS_MAIN(tst_LinuxWithoutDisplay)
#include "tst_LinuxWithoutDisplay.moc"
