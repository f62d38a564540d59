#include "executor/Executor.h"
#include "platform/Platform.h"
#include "tests/executor/Running.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>
#include <QTimer>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
// A fake file manager on the bus.
class FakeFileManager : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    QList<QStringList> shown;
    bool fails = false;
    bool hangs = false;

    /// Answers the pending call with an error.
    void comeRound()
    {
        QDBusConnection(u"file manager"_s)
            .send(m_hungAt.createErrorReply(QDBusError::Failed, u"Not today."_s));
    }

public Q_SLOTS:
    void ShowItems(const QStringList &uris, const QString &startupId)
    {
        Q_UNUSED(startupId)
        shown.append(uris);
        if (fails)
            sendErrorReply(QDBusError::Failed, u"Not today."_s);
        if (hangs) {
            setDelayedReply(true);
            m_hungAt = message();
        }
    }

private:
    QDBusMessage m_hungAt;
};

Workspace &workspace()
{
    return Platform::current().workspace();
}
} // namespace

class tst_LinuxFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void theFileManagerIsAskedToShowTheItem();
    void namesThatAreNoTextReachTheFileManager();
    void withoutSuchAFileManagerTheFolderOpens();
    void aFileManagerThatFailsLeavesTheFolderToBeOpened();
    void aFolderThatCannotBeOpenedIsLeftAlone();
    void aFileManagerThatHangsOpensNothingLater();
    void whatAProgramRevealsLastIsShownToo();

    void trashedItemsAreThereWithTheirOrigin();
    void aHomeWithoutAnyDataFolderGetsATrash();
    void aTrashThatCannotBeMadeLeavesTheItemWhereItIs();
    void linksAreTrashedAndTheirTargetsAreNot();
    void aMissingItemFailsWithTheSystemsSentence();
    void itemsOfAnotherFileSystemAreTrashedThere();

private:
    [[nodiscard]] QByteArray read(const QString &entry) const
    {
        QFile file(m_desktop->home(entry));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    [[nodiscard]] QString trash(const QString &entry) const
    {
        return outcome(u"trash"_s, {{u"path"_s, entry}});
    }

    [[nodiscard]] bool isThere(const QString &entry) const
    {
        const QFileInfo info(m_desktop->home(entry));
        return info.exists() || info.isSymLink();
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
    std::unique_ptr<FakeFileManager> m_manager;
};

void tst_LinuxFiles::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    const QString script = m_desktop->writeScript(
        u"files"_s, "echo \"$@\" >> \"$HOME/opened.all\"; echo \"$@\" > \"$HOME/opened.new\"; mv "
                    "\"$HOME/opened.new\" \"$HOME/opened\"\n");
    m_desktop->write(u".local/share/applications/files.desktop"_s,
                     "[Desktop Entry]\nType=Application\nName=Files\nExec=" + script.toUtf8() +
                         " %U\nMimeType=inode/directory;\n");
    m_desktop->write(u".config/mimeapps.list"_s,
                     "[Default Applications]\ninode/directory=files.desktop\n");
    m_desktop->write(u"Downloads/a b.txt"_s, "text");
    QVERIFY(QDir(m_desktop->home()).mkpath(u"Papers"_s));
}

void tst_LinuxFiles::init()
{
    QFile::remove(m_desktop->home(u"opened"_s));
    QFile::remove(m_desktop->home(u"opened.all"_s));
    QDir::setCurrent(m_desktop->home());
}

void tst_LinuxFiles::cleanup()
{
    if (m_manager) {
        QDBusConnection::disconnectFromBus(u"file manager"_s);
        m_manager.reset();
    }
}

#define START_FILE_MANAGER()                                                                       \
    m_manager = std::make_unique<FakeFileManager>();                                               \
    {                                                                                              \
        QDBusConnection bus =                                                                      \
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"file manager"_s);         \
        QVERIFY(bus.registerObject(u"/org/freedesktop/FileManager1"_s, m_manager.get(),            \
                                   QDBusConnection::ExportAllSlots));                              \
        QVERIFY(bus.registerService(u"org.freedesktop.FileManager1"_s));                           \
    }

void tst_LinuxFiles::theFileManagerIsAskedToShowTheItem()
{
    START_FILE_MANAGER()
    QVERIFY(outcome(u"find_files"_s).startsWith(u"Found 1 file(s)"_s));
    const QString uri = u"file://"_s + m_desktop->home(u"Downloads/a%20b.txt"_s);
    QTRY_COMPARE(m_manager->shown, QList<QStringList>{{uri}});
    QVERIFY(!isThere(u"opened"_s));
}

void tst_LinuxFiles::namesThatAreNoTextReachTheFileManager()
{
    START_FILE_MANAGER()
    workspace().reveal("/tmp/\xff#%?é");
    QTRY_COMPARE(m_manager->shown, QList<QStringList>{{u"file:///tmp/%FF%23%25%3F%C3%A9"_s}});
}

void tst_LinuxFiles::withoutSuchAFileManagerTheFolderOpens()
{
    workspace().reveal(m_desktop->home(u"Downloads/a b.txt"_s).toStdString());
    QTRY_COMPARE(read(u"opened"_s), m_desktop->home(u"Downloads\n"_s).toUtf8());
}

void tst_LinuxFiles::aFileManagerThatFailsLeavesTheFolderToBeOpened()
{
    START_FILE_MANAGER()
    m_manager->fails = true;
    workspace().reveal(m_desktop->home(u"Downloads/a b.txt"_s).toStdString());
    QTRY_COMPARE(read(u"opened"_s), m_desktop->home(u"Downloads\n"_s).toUtf8());
    QCOMPARE(m_manager->shown.size(), 1);
}

void tst_LinuxFiles::aFolderThatCannotBeOpenedIsLeftAlone()
{
    START_FILE_MANAGER()
    m_manager->fails = true;
    workspace().reveal("/nowhere/x");
    // Answers come in the order of the requests.
    workspace().reveal(m_desktop->home(u"Papers/x"_s).toStdString());
    QTRY_COMPARE(read(u"opened"_s), m_desktop->home(u"Papers\n"_s).toUtf8());
    QCOMPARE(m_manager->shown.size(), 2);
}

void tst_LinuxFiles::aFileManagerThatHangsOpensNothingLater()
{
    START_FILE_MANAGER()
    m_manager->hangs = true;
    workspace().reveal(m_desktop->home(u"Downloads/a b.txt"_s).toStdString());
    QTRY_COMPARE(m_manager->shown.size(), 1);
    QTest::qWait(3100); // longer than the timeout
    m_manager->comeRound();
    m_manager->hangs = false;
    m_manager->fails = true;
    workspace().reveal(m_desktop->home(u"Papers/x"_s).toStdString());
    const QByteArray papers = m_desktop->home(u"Papers\n"_s).toUtf8();
    QTRY_COMPARE(read(u"opened"_s), papers);
    QCOMPARE(read(u"opened.all"_s), papers);
}

// The bus starts the file manager, which takes a second; the requesting program exits at once.
void tst_LinuxFiles::whatAProgramRevealsLastIsShownToo()
{
    const QString program = QCoreApplication::applicationFilePath();
    const QString service = m_desktop->writeScript(
        u"bin/slow-files"_s, "sleep 1; exec '" + program.toUtf8() + "' --be-the-file-manager\n");
    const QString description = u"../services/org.freedesktop.FileManager1.service"_s;
    m_desktop->write(description, "[D-BUS Service]\nName=org.freedesktop.FileManager1\nExec=" +
                                      service.toUtf8() + '\n');
    const auto isKnown = [] {
        return QDBusConnection::sessionBus()
            .interface()
            ->activatableServiceNames()
            .value()
            .contains(u"org.freedesktop.FileManager1"_s);
    };
    QDBusConnection::sessionBus().interface()->call(u"ReloadConfig"_s);
    QTRY_VERIFY(isKnown());

    const QString item = m_desktop->home(u"Downloads/a b.txt"_s);
    QCOMPARE(QProcess::execute(program, {u"--reveal"_s, item}), 0);
    QTRY_COMPARE(read(u"shown"_s),
                 u"file://%1\n"_s.arg(m_desktop->home(u"Downloads/a%20b.txt"_s)).toUtf8());
    QVERIFY(!isThere(u"opened"_s));

    QVERIFY(QFile::remove(m_desktop->home(description)));
    QDBusConnection::sessionBus().interface()->call(u"ReloadConfig"_s);
    QTRY_VERIFY(!isKnown());
}

void tst_LinuxFiles::trashedItemsAreThereWithTheirOrigin()
{
    m_desktop->write(u"Documents/old %41 é.txt"_s, "old");
    QCOMPARE(trash(u"Documents/old %41 é.txt"_s), u"Moved old %41 é.txt to the Trash."_s);
    QVERIFY(!isThere(u"Documents/old %41 é.txt"_s));
    QCOMPARE(read(u".local/share/Trash/files/old %41 é.txt"_s), "old"_ba);
    const QByteArray info = read(u".local/share/Trash/info/old %41 é.txt.trashinfo"_s);
    QVERIFY2(info.contains("/Documents/old%20%2541%20%C3%A9.txt\n"), info);
    QVERIFY2(info.contains("DeletionDate="), info);
    // A second file with that name, and a folder with its contents.
    m_desktop->write(u"Documents/old %41 é.txt"_s, "newer");
    QCOMPARE(trash(u"Documents/old %41 é.txt"_s), u"Moved old %41 é.txt to the Trash."_s);
    QCOMPARE(QDir(m_desktop->home(u".local/share/Trash/files"_s)).entryList(QDir::Files).size(), 2);
    QCOMPARE(trash(u"my documents"_s), u"Moved Documents to the Trash."_s);
    QVERIFY(isThere(u".local/share/Trash/files/Documents"_s));
}

void tst_LinuxFiles::aHomeWithoutAnyDataFolderGetsATrash()
{
    m_desktop->write(u"a.txt"_s, "a");
    QVERIFY(QDir(m_desktop->home(u".local"_s)).removeRecursively());
    QCOMPARE(trash(u"a.txt"_s), u"Moved a.txt to the Trash."_s);
    QCOMPARE(read(u".local/share/Trash/files/a.txt"_s), "a"_ba);
    const QFileInfo folder(m_desktop->home(u".local/share/Trash"_s));
    QCOMPARE(folder.permissions() & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
}

void tst_LinuxFiles::aTrashThatCannotBeMadeLeavesTheItemWhereItIs()
{
    m_desktop->write(u"b.txt"_s, "b");
    QVERIFY(QDir(m_desktop->home(u".local"_s)).removeRecursively());
    m_desktop->write(u".local"_s, {});
    const QString told = trash(u"b.txt"_s);
    const QTemporaryDir inMemory(u"/dev/shm/quillon-XXXXXX"_s);
    QFile other(inMemory.filePath(u"c.txt"_s));
    QVERIFY(other.open(QIODevice::WriteOnly));
    const QString toldOfMemory = trash(other.fileName());
    QVERIFY(QFile::remove(m_desktop->home(u".local"_s)));
    QVERIFY2(told.startsWith(u"PlatformError: "_s), qPrintable(told));
    QCOMPARE(read(u"b.txt"_s), "b"_ba);
    QCOMPARE(toldOfMemory, u"PlatformError: The Trash can't be used: Not a directory."_s);
    QVERIFY(other.exists());
}

void tst_LinuxFiles::linksAreTrashedAndTheirTargetsAreNot()
{
    m_desktop->write(u"kept/inner.txt"_s, "kept");
    QVERIFY(QFile::link(m_desktop->home(u"kept/inner.txt"_s), m_desktop->home(u"to file"_s)));
    QVERIFY(QFile::link(m_desktop->home(u"kept"_s), m_desktop->home(u"to folder"_s)));
    QVERIFY(QFile::link(u"/nowhere/at/all"_s, m_desktop->home(u"to nowhere"_s)));
    for (const QString &link : {u"to file"_s, u"to folder/"_s, u"to nowhere"_s}) {
        const QString name = link.endsWith(u'/') ? link.chopped(1) : link;
        QCOMPARE(trash(link), u"Moved "_s + name + u" to the Trash."_s);
        QVERIFY(!isThere(name));
        QVERIFY(QFileInfo(m_desktop->home(u".local/share/Trash/files/"_s + name)).isSymLink());
    }
    QCOMPARE(read(u"kept/inner.txt"_s), "kept"_ba);
}

void tst_LinuxFiles::aMissingItemFailsWithTheSystemsSentence()
{
    const QString told = trash(u"Downloads/missing.txt"_s);
    QVERIFY2(told.startsWith(u"PlatformError: "_s), qPrintable(told));
    QVERIFY2(told.endsWith(u"No such file or directory"_s), qPrintable(told));
}

void tst_LinuxFiles::itemsOfAnotherFileSystemAreTrashedThere()
{
    // A file system in memory, which is another one than that of the home folder.
    const QTemporaryDir other(u"/dev/shm/quillon-XXXXXX"_s);
    QVERIFY(other.isValid());
    QFile file(other.filePath(u"quillon-trash-test.txt"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(trash(file.fileName()), u"Moved quillon-trash-test.txt to the Trash."_s);
    QVERIFY(!file.exists());
    const QStringList places{u"/dev/shm/.Trash-%1/"_s.arg(getuid()),
                             m_desktop->home(u".local/share/Trash/"_s)};
    qsizetype found = 0;
    for (const QString &place : places) {
        found += QFile::remove(place + u"files/quillon-trash-test.txt"_s) ? 1 : 0;
        QFile::remove(place + u"info/quillon-trash-test.txt.trashinfo"_s);
    }
    QCOMPARE(found, 1);
}

namespace {
// Another process: reveals an item and exits.
int reveal(const QString &item)
{
    workspace().reveal(item.toStdString());
    return 0;
}

// Another process: a file manager that records its first request and exits.
int beTheFileManager(QCoreApplication &app)
{
    FakeFileManager manager;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(u"/org/freedesktop/FileManager1"_s, &manager,
                            QDBusConnection::ExportAllSlots) ||
        !bus.registerService(u"org.freedesktop.FileManager1"_s))
        return 1;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &app, [&] {
        if (manager.shown.isEmpty())
            return;
        QFile note(QDir::homePath() + u"/shown"_s);
        if (note.open(QIODevice::WriteOnly))
            note.write(manager.shown.constFirst().join(u' ').toUtf8() + '\n');
        QCoreApplication::quit();
    });
    look.start(10);
    QTimer::singleShot(20'000, &app, &QCoreApplication::quit);
    return QCoreApplication::exec();
}
} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == u"--reveal")
        return reveal(arguments.value(2));
    if (arguments.value(1) == u"--be-the-file-manager")
        return beTheFileManager(app);
    tst_LinuxFiles test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_LinuxFiles.moc"
