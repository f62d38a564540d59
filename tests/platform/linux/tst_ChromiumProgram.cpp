#include "platform/linux/desktop/ChromiumProgram.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const QString option = u" --force-renderer-accessibility"_s;
} // namespace

// Programs that tell of their controls only if they were started with an option.
class tst_ChromiumProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void isKnownByWhatLiesBesideIt();
    void isKnownByTheScriptThatStartsIt();
    void isStartedWithTheOption_data();
    void isStartedWithTheOption();
    void isClosedIfItRunsWithoutTheOption();

private:
    [[nodiscard]] QString path(const QString &name) const { return m_folder->filePath(name); }

    void write(const QString &name, const QByteArray &content = {}) const
    {
        QDir(m_folder->path()).mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_ChromiumProgram::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    for (const QString &name : {u"resources.pak"_s, u"chrome_100_percent.pak"_s, u"icudtl.dat"_s,
                                u"writer"_s, u"bin/launcher"_s})
        write(u"lib/"_s + name);
    write(u"plain/writer"_s);
}

void tst_ChromiumProgram::isKnownByWhatLiesBesideIt()
{
    QVERIFY(ChromiumProgram::is(path(u"lib/writer"_s)));
    QVERIFY(ChromiumProgram::is(path(u"lib/bin/launcher"_s)));
    QVERIFY(!ChromiumProgram::is(path(u"plain/writer"_s)));
    QVERIFY(!ChromiumProgram::is(path(u"lib/nothing"_s)));
    QVERIFY(!ChromiumProgram::is({}));
}

void tst_ChromiumProgram::isKnownByTheScriptThatStartsIt()
{
    write(u"start"_s, "#!/bin/sh\nAPP=\"" + path(u"lib"_s).toUtf8() + "\"\nexec \"$APP/writer\"\n");
    QVERIFY(ChromiumProgram::is(path(u"start"_s)));
    write(u"other"_s, "#!/bin/sh\nexec " + path(u"plain/writer"_s).toUtf8() + '\n');
    QVERIFY(!ChromiumProgram::is(path(u"other"_s)));
}

void tst_ChromiumProgram::isStartedWithTheOption_data()
{
    QTest::addColumn<QString>("commandLine");
    QTest::addColumn<QString>("opened");
    QTest::newRow("alone") << u"%1"_s << u"%1"_s + option;
    QTest::newRow("arguments") << u"%1 --new %U"_s << u"%1"_s + option + u" --new %U"_s;
    QTest::newRow("quoted") << u"\"%1\" %U"_s << u"\"%1\""_s + option + u" %U"_s;
    QTest::newRow("variables") << u"env A=b %1 %U"_s << u"env A=b %1"_s + option + u" %U"_s;
    const QString same = u"%1"_s + option + u" %U"_s;
    QTest::newRow("once") << same << same;
    QTest::newRow("another program") << u"/bin/sh %1"_s << u"/bin/sh %1"_s;
}

void tst_ChromiumProgram::isStartedWithTheOption()
{
    QFETCH(const QString, commandLine);
    QFETCH(const QString, opened);
    const QString program = path(u"lib/writer"_s);
    QCOMPARE(ChromiumProgram::opened(commandLine.arg(program)), opened.arg(program));
}

void tst_ChromiumProgram::isClosedIfItRunsWithoutTheOption()
{
    const ProcessId process{42};
    const LinuxProcesses processes(path(u"table"_s));
    const auto runs = [&](const QString &program, const QByteArray &arguments) {
        write(u"table/42/cmdline"_s, program.toUtf8() + '\0' + arguments + '\0');
        QFile::remove(path(u"table/42/exe"_s));
        QVERIFY(QFile::link(program, path(u"table/42/exe"_s)));
    };
    runs(path(u"lib/writer"_s), "--new");
    QVERIFY(ChromiumProgram::isClosed(process, processes));
    runs(path(u"lib/writer"_s), option.trimmed().toUtf8());
    QVERIFY(!ChromiumProgram::isClosed(process, processes));
    runs(path(u"plain/writer"_s), "--new");
    QVERIFY(!ChromiumProgram::isClosed(process, processes));
    QVERIFY(!ChromiumProgram::isClosed(ProcessId{43}, processes));
}

QTEST_GUILESS_MAIN(tst_ChromiumProgram)
#include "tst_ChromiumProgram.moc"
