#include "tests/executor/Running.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
// The default applications of a desktop, from its own list. None of them executes what it opens.
struct Desktop
{
    QString name; ///< The value of XDG_CURRENT_DESKTOP.
    QString files;
    QString editor;
    QString archiver;
};

const QList<Desktop> &desktops()
{
    static const QList<Desktop> list{
        {u"GNOME"_s, u"org.gnome.Nautilus"_s, u"org.gnome.TextEditor"_s, u"org.gnome.FileRoller"_s},
        {u"KDE"_s, u"org.kde.dolphin"_s, u"org.kde.kwrite"_s, u"org.kde.ark"_s},
        {u"XFCE"_s, u"thunar"_s, u"org.xfce.mousepad"_s, u"xarchiver"_s},
    };
    return list;
}

// Executable files; each would leave a mark.
struct Kind
{
    QString file;
    QByteArray content;
};

QList<Kind> kinds()
{
    const QByteArray script = "\ntouch \"$HOME/has-run/$(basename \"$0\")\"\n";
    const QByteArray interpreted =
        "\nimport os; os.system('touch \"$HOME/has-run/interpreted\"')\n";
    return {
        {u"run.desktop"_s, "[Desktop Entry]\nType=Application\nName=Run\n"
                           "Exec=sh -c 'touch \"$HOME/has-run/entry\"'\n"},
        {u"run.sh"_s, "#!/bin/sh" + script},
        {u"run.bash"_s, "#!/bin/bash" + script},
        {u"run.csh"_s, "#!/bin/csh" + script},
        {u"run"_s, "#!/bin/sh" + script},
        {u"run.run"_s, "#!/bin/sh" + script},
        {u"run.command"_s, "#!/bin/sh" + script},
        {u"run.AppImage"_s, "#!/bin/sh" + script},
        {u"run.py"_s, "#!/usr/bin/python3" + interpreted},
        {u"run.pl"_s, "#!/usr/bin/perl\nsystem('touch \"$HOME/has-run/perl\"');\n"},
        {u"run.rb"_s, "#!/usr/bin/ruby\nsystem('touch \"$HOME/has-run/ruby\"')\n"},
        {u"run.lua"_s, "#!/usr/bin/lua\nos.execute('touch \"$HOME/has-run/lua\"')\n"},
        {u"run.js"_s, "#!/usr/bin/node\nrequire('child_process').exec('touch ~/has-run/node')\n"},
        {u"run.php"_s, "#!/usr/bin/php\n<?php system('touch ~/has-run/php');\n"},
        {u"run.jar"_s, QByteArray("PK\3\4\n\0\0\0\0\0", 10)},
        {u"run.exe"_s, QByteArray("MZ\x90\0\3\0\0\0", 8)},
        {u"run.service"_s, "[Service]\nExecStart=/bin/sh -c 'touch ~/has-run/service'\n"},
        {u"run.deb"_s, "!<arch>\ndebian-binary   "},
    };
}

const QString applications = u".local/share/applications/"_s;
} // namespace

// Files are only shown or refused, never executed: the model can name any file, and opening needs
// no approval.
class tst_LinuxOpening : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void whatCouldRunIsShownOrRefused_data();
    void whatCouldRunIsShownOrRefused();
    void cleanupTestCase();

private:
    void install(const QString &id) const;

    std::unique_ptr<VirtualDesktop> m_desktop;
    std::unique_ptr<SeenPauses> m_pauses;
};

void tst_LinuxOpening::install(const QString &id) const
{
    const QString script = m_desktop->writeScript(
        u"bin/"_s + id,
        "echo \"$(basename \"$0\") $*\" > \"$HOME/new\"; mv \"$HOME/new\" \"$HOME/opened\"\n"
        // Opening has finished when the window is mapped; then the previous window is closed.
        "before=$(cat \"$HOME/window\" 2> /dev/null)\n"
        "'" TEST_WINDOW "' \"$*\" opened.Opened unattended > \"$HOME/shown\" &\n"
        "echo $! > \"$HOME/window\"\n"
        "until grep -q shown \"$HOME/shown\"; do sleep 0.02; done\n"
        "[ -z \"$before\" ] || kill \"$before\"\n"
        "wait\n");
    m_desktop->write(applications + id + u".desktop"_s,
                     "[Desktop Entry]\nType=Application\nName=" + id.toUtf8() +
                         "\nExec=" + script.toUtf8() + " %U\n");
}

void tst_LinuxOpening::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_pauses = std::make_unique<SeenPauses>();
    for (const Desktop &desktop : desktops()) {
        for (const QString &id : {desktop.files, desktop.editor, desktop.archiver})
            install(id);
        const auto line = [](const char *type, const QString &id) {
            return type + ("=" + id.toUtf8()) + ".desktop\n";
        };
        m_desktop->write(applications + desktop.name.toLower() + u"-mimeapps.list"_s,
                         "[Default Applications]\n" + line("inode/directory", desktop.files) +
                             line("text/plain", desktop.editor) +
                             line("application/zip", desktop.archiver) +
                             line("application/x-java-archive", desktop.archiver) +
                             line("application/vnd.debian.binary-package", desktop.archiver));
    }
    QVERIFY(QDir(m_desktop->home()).mkpath(u"has-run"_s));
    for (const Kind &kind : kinds()) {
        m_desktop->write(kind.file, kind.content);
        QVERIFY(QFile::setPermissions(m_desktop->home(kind.file),
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }
}

void tst_LinuxOpening::whatCouldRunIsShownOrRefused_data()
{
    QTest::addColumn<qsizetype>("desktop");
    QTest::addColumn<QString>("file");
    for (qsizetype i = 0; i < desktops().size(); ++i) {
        for (const Kind &kind : kinds())
            QTest::addRow("%s on %s", qPrintable(kind.file), qPrintable(desktops()[i].name))
                << i << kind.file;
    }
}

void tst_LinuxOpening::whatCouldRunIsShownOrRefused()
{
    QFETCH(const qsizetype, desktop);
    QFETCH(const QString, file);

    const Desktop &here = desktops()[desktop];
    qputenv("XDG_CURRENT_DESKTOP", here.name.toLatin1());
    QFile::remove(m_desktop->home(u"opened"_s));
    const QString told = outcome(u"open_path"_s, {{u"path"_s, file}});
    if (told == u"PlatformError: No application is set up to open “"_s + file + u"”."_s)
        return;
    QCOMPARE(told, u"Opened "_s + file + u'.');
    const QString path = m_desktop->home(file);
    QTRY_VERIFY(!m_desktop->read(u"opened"_s).isEmpty());
    const QString opened = QString::fromUtf8(m_desktop->read(u"opened"_s)).trimmed();
    QVERIFY2(opened == here.editor + u' ' + path || opened == here.archiver + u' ' + path,
             qPrintable(opened));
}

// Opening has finished when a handler has the file, so an executed file would have left its mark.
void tst_LinuxOpening::cleanupTestCase()
{
    QCOMPARE(QDir(m_desktop->home(u"has-run"_s)).entryList(QDir::Files), QStringList());
    // Checks that the files do leave marks.
    QCOMPARE(QProcess::execute(m_desktop->home(u"run.sh"_s)), 0);
    QCOMPARE(QDir(m_desktop->home(u"has-run"_s)).entryList(QDir::Files), QStringList(u"run.sh"_s));
}

QTEST_GUILESS_MAIN(tst_LinuxOpening)
#include "tst_LinuxOpening.moc"
