#include "platform/Screen.h"
#include "tests/desktop/Desktop.h"

#include <QDateTime>
#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

// Files and folders with a real file manager, editor and Trash tool.
class tst_DesktopFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void theNewestFileIsFoundAndItsFolderShown();
    void aNewFolderIsThereAndItsParentIsShown();
    void furtherItemsAreShownInTheSameWindow();
    void aFolderOpensInTheFileManager();
    void aTextOpensInTheEditor();
    void whatIsTrashedCanBeRestored();
    void whatNothingOpensIsTold();
    void withoutAFileManagerFilesAreFoundAllTheSame();

private:
    void touch(const QString &entry, qint64 secondsAgo) const
    {
        m_desktop->write(entry, entry.toUtf8());
        QFile file(m_desktop->home(entry));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-secondsAgo),
                                 QFileDevice::FileModificationTime));
    }

    // The output of the tool with that input.
    [[nodiscard]] QByteArray tool(const QString &program, const QByteArray &input = {}) const
    {
        QProcess &process = m_desktop->start(program, {});
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(appLimit))
            qFatal("%s does not end.", qPrintable(program));
        return process.readAllStandardOutput();
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_DesktopFiles::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->install(u"org.xfce.mousepad.desktop"_s, {u"text/plain"_s});
    m_desktop->install(u"pcmanfm.desktop"_s, {u"inode/directory"_s});
    touch(u"Downloads/old.pdf"_s, 7200);
    touch(u"Downloads/Latest Report.PDF"_s, 60);
    touch(u"Downloads/notes.txt"_s, 0);
}

void tst_DesktopFiles::cleanup()
{
    closeEverything();
}

void tst_DesktopFiles::theNewestFileIsFoundAndItsFolderShown()
{
    QCOMPARE(outcome(u"find_files"_s, {{u"extension"_s, u"pdf"_s}}),
             u"Found 2 file(s), newest first: Latest Report.PDF, old.pdf. "
             "Revealed “Latest Report.PDF” in Finder."_s);
    APP_TRY_COMPARE(windows(), QStringList{u"File Manager PCManFM — Downloads"_s});
    APP_TRY_COMPARE(frontName(), u"File Manager PCManFM"_s);
}

void tst_DesktopFiles::aNewFolderIsThereAndItsParentIsShown()
{
    QCOMPARE(outcome(u"create_folder"_s, {{u"name"_s, u"Trips/Ünï 2025"_s}}),
             u"Created folder at "_s + m_desktop->home(u"Desktop/Trips/Ünï 2025"_s) + u'.');
    QVERIFY(QDir(m_desktop->home(u"Desktop/Trips/Ünï 2025"_s)).exists());
    APP_TRY_COMPARE(windows(), QStringList{u"File Manager PCManFM — Trips"_s});
}

// The list of windows would have equal ones once.
void tst_DesktopFiles::furtherItemsAreShownInTheSameWindow()
{
    const auto count = [] {
        return Platform::current().screen().windows().value_or(QList<WindowInfo>()).size();
    };
    for (const QString &extension : {u"pdf"_s, u"txt"_s})
        (void)outcome(u"find_files"_s, {{u"extension"_s, extension}});
    APP_TRY_COMPARE(windows(), QStringList{u"File Manager PCManFM — Downloads"_s});
    (void)outcome(u"create_folder"_s, {{u"name"_s, u"Trips/Later"_s}});
    APP_TRY_COMPARE(windows(), QStringList{u"File Manager PCManFM — Trips"_s});
    QCOMPARE(count(), 1);
}

void tst_DesktopFiles::aFolderOpensInTheFileManager()
{
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"my downloads"_s}}), u"Opened Downloads."_s);
    APP_TRY_COMPARE(windows(), QStringList{u"File Manager PCManFM — Downloads"_s});
}

void tst_DesktopFiles::aTextOpensInTheEditor()
{
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"Downloads/notes.txt"_s}}),
             u"Opened notes.txt."_s);
    APP_TRY_COMPARE(windows(),
                    QStringList{u"Mousepad — "_s + m_desktop->home(u"Downloads/notes.txt"_s) +
                                u" - Mousepad"_s});
}

void tst_DesktopFiles::whatIsTrashedCanBeRestored()
{
    touch(u"Documents/50% é & more.txt"_s, 0);
    const QByteArray path = m_desktop->home(u"Documents/50% é & more.txt"_s).toUtf8();
    QCOMPARE(outcome(u"trash"_s, {{u"path"_s, u"~/Documents/50% é & more.txt"_s}}),
             u"Moved 50% é & more.txt to the Trash."_s);
    QVERIFY(!QFile::exists(QString::fromUtf8(path)));
    const QByteArray list = tool(u"trash-list"_s);
    QVERIFY2(list.contains(path), list);
    const QByteArray today = QDate::currentDate().toString(Qt::ISODate).toUtf8();
    QVERIFY2(list.contains(today), list);
    QDir::setCurrent(m_desktop->home());
    (void)tool(u"trash-restore"_s, "0\n");
    QCOMPARE(m_desktop->read(u"Documents/50% é & more.txt"_s),
             u"Documents/50% é & more.txt"_s.toUtf8());
    QVERIFY(!tool(u"trash-list"_s).contains(path));
}

void tst_DesktopFiles::whatNothingOpensIsTold()
{
    touch(u"film.webm"_s, 0);
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"film.webm"_s}}),
             u"PlatformError: No application is set up to open “film.webm”."_s);
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"gone.txt"_s}}),
             u"ActionError: Nothing exists at gone.txt."_s);
    QCOMPARE(windows(), QStringList{u"none"_s});
}

// The last test, since it uninstalls the file manager.
void tst_DesktopFiles::withoutAFileManagerFilesAreFoundAllTheSame()
{
    m_desktop->uninstall(u"pcmanfm.desktop"_s);
    APP_TRY_VERIFY(!Executor::appURL(u"Finder"_s));
    QVERIFY(outcome(u"find_files"_s).startsWith(u"Found 3 file(s), newest first: notes.txt"_s));
    QVERIFY(outcome(u"create_folder"_s, {{u"name"_s, u"New"_s}}).startsWith(u"Created"_s));
    QVERIFY(QDir(m_desktop->home(u"Desktop/New"_s)).exists());
    QVERIFY(m_desktop->processes(u"/pcmanfm"_s).isEmpty());
    QCOMPARE(windows(), QStringList{u"none"_s});
}

QTEST_GUILESS_MAIN(tst_DesktopFiles)
#include "tst_DesktopFiles.moc"
