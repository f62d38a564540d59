#include "platform/PlatformError.h"
#include "platform/linux/desktop/DesktopEntry.h"
#include "tests/support/Waiting.h"

#include <QDBusConnection>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {
/// What an application offers that the bus starts.
class BusApplication : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public Q_SLOTS:
    void Activate(const QVariantMap &) { calls << u"Activate"_s; }
    void Open(const QStringList &uris, const QVariantMap &) { calls << uris; }

public:
    QStringList calls;
};
} // namespace

class tst_DesktopEntry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void whatAnEntrySaysIsRead();
    void namesAreInTheUsersLanguageFirst();
    void whatIsNoApplicationIsNoEntry_data();
    void whatIsNoApplicationIsNoEntry();
    void entriesAreShownOnTheirDesktops_data();
    void entriesAreShownOnTheirDesktops();
    void onlyAddressesNeedACodeForThem_data();
    void onlyAddressesNeedACodeForThem();

    void commandLinesAreExpanded_data();
    void commandLinesAreExpanded();
    void aProgramIsToldItsOwnEntry();
    void aProgramStartsInItsFolderOrAtHome();
    void aProgramWithoutAWindowGetsATerminal();
    void theBusStartsWhatAsksForThat();
    void withoutAnAnswerOnTheBusNothingElseIsStarted();

private:
    /// Writes the entry of a program that writes down what it is told.
    [[nodiscard]] QString write(const QByteArray &parameters, const QByteArray &more = {},
                                const QString &name = u"entry.desktop"_s) const
    {
        return writeText("[Desktop Entry]\nType=Application\nName=Na me\nExec=" +
                             QFile::encodeName(m_folder->filePath(u"program"_s)) + parameters +
                             '\n' + more,
                         name);
    }
    [[nodiscard]] QString writeText(const QByteArray &content,
                                    const QString &name = u"entry.desktop"_s) const
    {
        QFile file(m_folder->filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("The entry cannot be written.");
        return file.fileName();
    }
    void writeProgram(const QString &name, const QByteArray &body) const
    {
        const QString path = writeText("#!/bin/sh\n" + body + "mv \"$0.new\" \"$0.told\"\n", name);
        QVERIFY(
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }
    /// What the program was told, once it was; each word in brackets.
    [[nodiscard]] QByteArray told(const QString &program = u"program"_s) const
    {
        const QString path = m_folder->filePath(program + u".told"_s);
        QFile file(path);
        if (!QTest::qWaitFor([&] { return file.exists(); }, eventually) ||
            !file.open(QIODevice::ReadOnly))
            return "nothing";
        return file.readAll();
    }

    QProcess m_bus;
    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_DesktopEntry::initTestCase()
{
    m_bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
    QVERIFY(m_bus.waitForReadyRead(eventually));
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.readLine().trimmed());
    qputenv("LC_ALL", "C.UTF-8");
    qputenv("LANGUAGE", "de");
}

void tst_DesktopEntry::cleanupTestCase()
{
    m_bus.kill();
    m_bus.waitForFinished(-1);
}

void tst_DesktopEntry::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    qputenv("HOME", QFile::encodeName(m_folder->path()));
    qputenv("XDG_CURRENT_DESKTOP", "Near:Far");
    writeProgram(u"program"_s, "printf '[%s]' \"$@\" > \"$0.new\"\n");
}

void tst_DesktopEntry::whatAnEntrySaysIsRead()
{
    const QString location =
        write(" --x %U",
              "Path=/usr\nIcon=star\nStartupWMClass=Claimed\nCategories=A;B C;\n"
              "Terminal=true\nDBusActivatable=true\n",
              u"org.example.Entry.desktop"_s);
    const DesktopEntry entry = DesktopEntry::at(location).value_or(DesktopEntry());
    QCOMPARE(entry.location, location);
    QCOMPARE(entry.names, QStringList(u"Na me"_s));
    QVERIFY(entry.commandLine.endsWith("/program --x %U"));
    QCOMPARE(entry.program, u"program"_s);
    QCOMPARE(entry.folder, u"/usr"_s);
    QCOMPARE(entry.icon, u"star"_s);
    QCOMPARE(entry.claimedClass, u"Claimed"_s);
    QCOMPARE(entry.categories, QStringList({u"A"_s, u"B C"_s}));
    QVERIFY(entry.isShown && !entry.isHidden && entry.needsTerminal && entry.startsByBus);

    const DesktopEntry other =
        DesktopEntry::at(write({}, "Hidden=true\nNoDisplay=true\nDBusActivatable=true\n"))
            .value_or(DesktopEntry());
    // Its name is none that the bus knows.
    QVERIFY(!other.isShown && other.isHidden && !other.needsTerminal && !other.startsByBus);
}

void tst_DesktopEntry::namesAreInTheUsersLanguageFirst()
{
    QCOMPARE(DesktopEntry::at(write({}, "Name[de]=Brandung\nName[fr]=Vague\n"))
                 .value_or(DesktopEntry())
                 .names,
             QStringList({u"Brandung"_s, u"Na me"_s}));
    QCOMPARE(DesktopEntry::at(write({}, "Name[de]=Brandung\nX-GNOME-FullName=All of it\n"))
                 .value_or(DesktopEntry())
                 .names,
             QStringList({u"All of it"_s, u"Brandung"_s, u"Na me"_s}));
    const QString nameless =
        writeText("[Desktop Entry]\nType=Application\nExec=true\n", u"x.y.desktop"_s);
    QCOMPARE(DesktopEntry::at(nameless).value_or(DesktopEntry()).names, QStringList(u"x.y"_s));
}

void tst_DesktopEntry::whatIsNoApplicationIsNoEntry_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("isEntry");
    const QByteArray start = "[Desktop Entry]\nType=Application\nName=X\n";
    QTest::newRow("an application") << start + "Exec=true\n" << true;
    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("no keys") << QByteArray("any text") << false;
    QTest::newRow("no text") << QByteArray(1000, '\0') << false;
    QTest::newRow("another group first") << "[Other]\nx=y\n" + start + "Exec=true\n" << false;
    QTest::newRow("a link") << QByteArray("[Desktop Entry]\nType=Link\nName=X\nURL=https://x\n")
                            << false;
    QTest::newRow("no program") << start << false;
    QTest::newRow("an empty program") << start + "Exec=\n" << false;
    QTest::newRow("a program that is not there") << start + "Exec=/nowhere/x\n" << false;
    QTest::newRow("an open quote") << start + "Exec=true \"\n" << false;
    QTest::newRow("tried and there") << start + "Exec=true\nTryExec=sh\n" << true;
    QTest::newRow("tried and missing") << start + "Exec=true\nTryExec=/nowhere/x\n" << false;
    QTest::newRow("a remark first") << "# remark\n\n" + start + "Exec=true\n" << true;
}

void tst_DesktopEntry::whatIsNoApplicationIsNoEntry()
{
    QFETCH(const QByteArray, content);
    QFETCH(const bool, isEntry);
    QCOMPARE(DesktopEntry::at(writeText(content)).has_value(), isEntry);
}

void tst_DesktopEntry::entriesAreShownOnTheirDesktops_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<bool>("isShown");
    QTest::newRow("everywhere") << QByteArray() << true;
    QTest::newRow("only here") << QByteArray("OnlyShowIn=Other;Far;\n") << true;
    QTest::newRow("only elsewhere") << QByteArray("OnlyShowIn=Other;\n") << false;
    QTest::newRow("not here") << QByteArray("NotShowIn=Far;\n") << false;
    QTest::newRow("not elsewhere") << QByteArray("NotShowIn=Other;\n") << true;
    QTest::newRow("the most particular one decides")
        << QByteArray("OnlyShowIn=Near;\nNotShowIn=Far;\n") << true;
    QTest::newRow("nowhere") << QByteArray("NoDisplay=true\nOnlyShowIn=Near;\n") << false;
}

void tst_DesktopEntry::entriesAreShownOnTheirDesktops()
{
    QFETCH(const QByteArray, keys);
    QFETCH(const bool, isShown);
    QCOMPARE(DesktopEntry::at(write({}, keys)).value_or(DesktopEntry()).isShown, isShown);
}

void tst_DesktopEntry::onlyAddressesNeedACodeForThem_data()
{
    QTest::addColumn<QByteArray>("parameters");
    QTest::addColumn<bool>("takes");
    QTest::newRow("an address") << QByteArray(" %u") << true;
    QTest::newRow("addresses") << QByteArray(" --open %U") << true;
    QTest::newRow("a path") << QByteArray(" %f") << false;
    QTest::newRow("paths") << QByteArray(" %F") << false;
    QTest::newRow("nothing") << QByteArray() << false;
}

void tst_DesktopEntry::onlyAddressesNeedACodeForThem()
{
    QFETCH(const QByteArray, parameters);
    QFETCH(const bool, takes);
    const DesktopEntry entry = DesktopEntry::at(write(parameters)).value_or(DesktopEntry());
    QCOMPARE(entry.takesAddresses(), takes);
}

void tst_DesktopEntry::commandLinesAreExpanded_data()
{
    QTest::addColumn<QByteArray>("parameters");
    QTest::addColumn<QByteArray>("uri");
    QTest::addColumn<QByteArray>("words");
    const QByteArray file = "file:///tmp/a%20b%2541%22";
    const QByteArray page = "https://x.example/a%20b?c='d';$e&f";
    const auto row = [](const char *name, const char *parameters, const QByteArray &uri,
                        const QByteArray &words) {
        QTest::newRow(name) << QByteArray(parameters) << uri << words;
    };
    row("nothing to open", " --new %U", {}, "[--new]");
    row("an address", " %u", page, '[' + page + ']');
    row("addresses", " --new %U --last", page, "[--new][" + page + "][--last]");
    // GIO gives what is on this machine as a path to whatever can open it.
    row("a file's address", " %U", file, "[/tmp/a b%41\"]");
    row("a path", " %f", file, "[/tmp/a b%41\"]");
    row("paths", " -- %F", file, "[--][/tmp/a b%41\"]");
    row("no place for it", " --new", file, "[--new][/tmp/a b%41\"]");
    row("inside a word", " --open=%u", page, "[--open=" + page + ']');
    row("the icon", " %i", {}, "[--icon][st ar%c]");
    row("the name", " %c x", {}, "[Na me][x]");
    row("the place", " %k", {}, "[PLACE]");
    row("a percent sign", " 100%% %%k %%%k", {}, "[100%][%k][%PLACE]");
    row("codes of old", " %d%D%n%N%v%m x", {}, "[x]");
    row("one at the end", " x %", {}, "[x]");
    row("quotes", R"( "a  b" "c\\"d" "\\$e" "\\\\" "" 'f g')", {}, R"([a  b][c"d][$e][\][][f g])");
    row("what a shell would do", R"x( \\$HOME ';' '&' '|' '>' * '`id`' '$(id)')x", {},
        "[$HOME][;][&][|][>][*][`id`][$(id)]");
}

void tst_DesktopEntry::commandLinesAreExpanded()
{
    QFETCH(const QByteArray, parameters);
    QFETCH(const QByteArray, uri);
    QFETCH(QByteArray, words);
    const QString location = write(parameters, "Icon=st ar%c\n", u"a 'b' %u.desktop"_s);
    const std::optional<DesktopEntry> entry = DesktopEntry::at(location);
    QVERIFY(entry);
    QVERIFY(entry->start(uri) > ProcessId{});
    QCOMPARE(told(), words.replace("PLACE", QFile::encodeName(location)));
}

void tst_DesktopEntry::aProgramIsToldItsOwnEntry()
{
    writeProgram(u"program"_s, "printf %s \"$GIO_LAUNCHED_DESKTOP_FILE\" > \"$0.new\"\n");
    qputenv("GIO_LAUNCHED_DESKTOP_FILE", "/ours.desktop");
    const QString location = write({});
    DesktopEntry::at(location).value_or(DesktopEntry()).start();
    QCOMPARE(told(), QFile::encodeName(location));
}

void tst_DesktopEntry::aProgramStartsInItsFolderOrAtHome()
{
    writeProgram(u"program"_s, "pwd -P > \"$0.new\"\n");
    DesktopEntry::at(write({})).value_or(DesktopEntry()).start();
    const QDir folder(m_folder->path());
    QCOMPARE(told(), QFile::encodeName(folder.canonicalPath()) + '\n');
    QVERIFY(QFile::remove(m_folder->filePath(u"program.told"_s)));

    QVERIFY(folder.mkpath(u"in here"_s));
    DesktopEntry::at(write({}, "Path=" + QFile::encodeName(folder.path()) + "/in here\n"))
        .value_or(DesktopEntry())
        .start();
    QCOMPARE(told(), QFile::encodeName(folder.canonicalPath()) + "/in here\n");

    QString failure;
    try {
        DesktopEntry::at(write({}, "Path=/nowhere\n")).value_or(DesktopEntry()).start();
    } catch (const PlatformError &error) {
        failure = QString::fromUtf8(error.what());
    }
    QCOMPARE(failure, u"The folder that “Na me” starts in doesn't exist."_s);
}

void tst_DesktopEntry::aProgramWithoutAWindowGetsATerminal()
{
    QVERIFY(QDir(m_folder->path()).mkpath(u"bin"_s));
    // The first that is known and installed is taken.
    const QByteArray before = qgetenv("PATH");
    for (const QString &terminal : {u"xdg-terminal-exec"_s, u"kgx"_s, u"gnome-terminal"_s})
        writeProgram(u"bin/"_s + terminal, "shift $(($# - 2)); printf '[%s]' \"$@\" > "
                                           "\"$HOME/terminal.new\"; mv \"$HOME/terminal.new\" "
                                           "\"$HOME/terminal.told\"; touch \"$0.new\"\n");
    qputenv("PATH", QFile::encodeName(m_folder->filePath(u"bin"_s)) + ':' + before);
    const DesktopEntry entry =
        DesktopEntry::at(write(" --text", "Terminal=true\n")).value_or(DesktopEntry());
    entry.start();
    QCOMPARE(told(u"terminal"_s),
             '[' + QFile::encodeName(m_folder->filePath(u"program"_s)) + "][--text]");
    qputenv("PATH", before);
}

void tst_DesktopEntry::theBusStartsWhatAsksForThat()
{
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"other"_s);
    BusApplication application;
    QVERIFY(bus.registerService(u"org.example.On-Bus"_s));
    QVERIFY(bus.registerObject(u"/org/example/On_Bus"_s, &application,
                               QDBusConnection::ExportAllSlots));
    const DesktopEntry entry =
        DesktopEntry::at(write(" %U", "DBusActivatable=true\n", u"org.example.On-Bus.desktop"_s))
            .value_or(DesktopEntry());
    QCOMPARE(entry.start(), ProcessId{});
    entry.start("file:///tmp/a%20b");
    QTRY_COMPARE(application.calls, QStringList({u"Activate"_s, u"file:///tmp/a%20b"_s}));
    QVERIFY(!QFile::exists(m_folder->filePath(u"program.told"_s)));
    QVERIFY(bus.unregisterService(u"org.example.On-Bus"_s));
    QDBusConnection::disconnectFromBus(u"other"_s);
}

void tst_DesktopEntry::withoutAnAnswerOnTheBusNothingElseIsStarted()
{
    const DesktopEntry silent =
        DesktopEntry::at(write({}, "DBusActivatable=true\n", u"org.example.Silent.desktop"_s))
            .value_or(DesktopEntry());
    silent.start();
    // What is started after it is there, and it is not.
    writeProgram(u"next"_s, "touch \"$0.new\"\n");
    const QString next = writeText("[Desktop Entry]\nType=Application\nName=X\nExec=" +
                                       QFile::encodeName(m_folder->filePath(u"next"_s)) + '\n',
                                   u"next.desktop"_s);
    DesktopEntry::at(next).value_or(DesktopEntry()).start();
    QCOMPARE(told(u"next"_s), QByteArray());
    QVERIFY(!QFile::exists(m_folder->filePath(u"program.told"_s)));
}

QTEST_GUILESS_MAIN(tst_DesktopEntry)
#include "tests/support/Waiting.h"
#include "tst_DesktopEntry.moc"
