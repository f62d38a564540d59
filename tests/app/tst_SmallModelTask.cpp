#include "tests/support/Program.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The program with the small model that it was built with: the whole way from a user's words to an
// effect, without a model whose replies are known.
class tst_SmallModelTask : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_home.reset(); }

    void findsAFile();
    void asksBeforeItMovesAFileToTheBin();

private:
    [[nodiscard]] Program::Options options(Program::Input input) const;
    void touch(const QString &path, qint64 secondsAgo) const;

    std::unique_ptr<QTemporaryDir> m_home;
};

namespace {
const QString program = u"" QUILLON_PROGRAM ""_s;
// The first generation of a program on a busy machine.
constexpr int limit = 60'000;
} // namespace

void tst_SmallModelTask::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    QVERIFY(m_home->isValid());
    for (const QString &folder : {u"Downloads"_s, u"Desktop"_s})
        QVERIFY(QDir(m_home->path()).mkpath(folder));
    touch(u"Downloads/march.pdf"_s, 3600);
    touch(u"Downloads/april.pdf"_s, 60);
    touch(u"Downloads/notes.txt"_s, 0);
}

Program::Options tst_SmallModelTask::options(Program::Input input) const
{
    const QDir home(m_home->path());
    return {.environment = {{u"HOME"_s, home.path()},
                            {u"PATH"_s, qEnvironmentVariable("PATH")},
                            {u"XDG_DATA_HOME"_s, home.filePath(u"data"_s)},
                            {u"XDG_CONFIG_HOME"_s, home.filePath(u"config"_s)},
                            {u"XDG_CACHE_HOME"_s, home.filePath(u"cache"_s)},
                            {u"ASAN_OPTIONS"_s, qEnvironmentVariable("ASAN_OPTIONS")},
                            {u"LSAN_OPTIONS"_s, qEnvironmentVariable("LSAN_OPTIONS")},
                            {u"TSAN_OPTIONS"_s, qEnvironmentVariable("TSAN_OPTIONS")},
                            {u"LC_ALL"_s, u"C.UTF-8"_s}},
            .input = input,
            .hasNetwork = false};
}

void tst_SmallModelTask::touch(const QString &path, qint64 secondsAgo) const
{
    QFile file(m_home->filePath(path));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("content");
    QVERIFY(file.flush());
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-secondsAgo),
                             QFileDevice::FileModificationTime));
}

void tst_SmallModelTask::findsAFile()
{
    Program quillon(program, {u"--small"_s, u"Find the latest PDF in my Downloads folder"_s},
                    options(Program::Input::nothing));
    QCOMPARE(quillon.waitForExit(limit), 0);
    QVERIFY2(quillon.output().contains(u"✓ Searching Downloads\n"), qPrintable(quillon.output()));
    QVERIFY2(quillon.output().section(u'✔', 1).contains(u"april.pdf"),
             qPrintable(quillon.output()));
    QCOMPARE(quillon.errors(), QString());
}

void tst_SmallModelTask::asksBeforeItMovesAFileToTheBin()
{
    Program quillon(program, {u"--small"_s, u"Move Downloads/march.pdf to the trash"_s},
                    options(Program::Input::terminal));
    QVERIFY2(quillon.waitForOutput("Move “Downloads/march.pdf” to the Trash [y/N] "),
             qPrintable(quillon.output()));
    quillon.answer("y\n");
    QCOMPARE(quillon.waitForExit(limit), 0);
    QVERIFY(!QFile::exists(m_home->filePath(u"Downloads/march.pdf"_s)));
    QVERIFY(QFile::exists(m_home->filePath(u"data/Trash/files/march.pdf"_s)));
}

QTEST_GUILESS_MAIN(tst_SmallModelTask)
#include "tst_SmallModelTask.moc"
