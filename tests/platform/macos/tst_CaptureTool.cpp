#include "platform/PlatformError.h"
#include "platform/macos/CaptureTool.h"
#include "tests/support/Waiting.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

// Uses a shell script as the tool.
class tst_CaptureTool : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void theToolGetsThePathAndMakesNoSound();
    void theExitStatusIsIgnored_data();
    void theExitStatusIsIgnored();
    void reportsAToolThatCannotBeStarted();
    void theEventLoopRunsWhileTheToolRuns();

private:
    [[nodiscard]] QString at(const QString &entry) const { return m_folder->filePath(entry); }

    [[nodiscard]] QString tool(const QByteArray &body) const
    {
        QFile file(at(u"tool"_s));
        if (!file.open(QIODevice::WriteOnly) || file.write("#!/bin/sh\n" + body) < 0)
            qFatal("The tool cannot be written.");
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return file.fileName();
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_CaptureTool::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
}

void tst_CaptureTool::cleanup()
{
    m_folder.reset();
}

void tst_CaptureTool::theToolGetsThePathAndMakesNoSound()
{
    const QString picture = at(u"Bild ä 1.png"_s);
    const QFuture<void> future =
        CaptureTool::run(tool("printf '%s|' \"$@\" > \"$2\"\n"), picture.toStdString());
    QTRY_VERIFY(future.isFinished());
    QFile file(picture);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), "-x|" + picture.toUtf8() + '|');
}

void tst_CaptureTool::theExitStatusIsIgnored_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("success") << "exit 0\n"_ba;
    QTest::newRow("failure") << "exit 1\n"_ba;
    QTest::newRow("crash") << "kill -9 $$\n"_ba;
}

void tst_CaptureTool::theExitStatusIsIgnored()
{
    QFETCH(const QByteArray, body);
    QFuture<void> future = CaptureTool::run(tool(body), "/nowhere/a.png");
    QTRY_VERIFY(future.isFinished());
    future.waitForFinished(); // would throw
}

void tst_CaptureTool::reportsAToolThatCannotBeStarted()
{
    QFuture<void> future = CaptureTool::run(at(u"no tool"_s), "/nowhere/a.png");
    QTRY_VERIFY(future.isFinished());
    try {
        future.waitForFinished();
        QFAIL("It started.");
    } catch (const PlatformError &error) {
        QVERIFY2(QByteArray(error.what()).contains("No such file or directory"), error.what());
    }
}

void tst_CaptureTool::theEventLoopRunsWhileTheToolRuns()
{
    // The tool waits for something that this event loop does.
    const QFuture<void> future =
        CaptureTool::run(tool("until [ -e \"$2.go\" ]; do sleep 0.01; done; touch \"$2\"\n"),
                         at(u"a.png"_s).toStdString());
    QTimer::singleShot(0, this, [this] { QDir().mkdir(at(u"a.png.go"_s)); });
    QVERIFY(!future.isFinished());
    QTRY_VERIFY(future.isFinished());
    QVERIFY(QFile::exists(at(u"a.png"_s)));
}

QTEST_GUILESS_MAIN(tst_CaptureTool)
#include "tst_CaptureTool.moc"
