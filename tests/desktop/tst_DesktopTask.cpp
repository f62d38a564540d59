#include "models/LocalModel.h"
#include "tests/desktop/Desktop.h"
#include "tests/support/Program.h"
#include "tests/support/TestModel.h"
#include "tests/support/Waiting.h"

#include <QDir>
#include <QImage>
#include <QProcessEnvironment>

using namespace Qt::StringLiterals;

// One whole task: the program as a user starts it, a real model file that generates the steps, and
// real applications.
class tst_DesktopTask : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void aTaskOfManyStepsIsCarriedOut();

private:
    void giveModel(const QStringList &replies) const
    {
        const QString folder = m_desktop->home(u".local/share/Quillon/Models"_s);
        QVERIFY(QDir().mkpath(folder));
        QList<QByteArray> texts;
        for (const QString &reply : replies)
            texts << reply.toUtf8();
        TestModel::saying(texts).write(folder + u'/' + LocalModel::catalog().constFirst().fileName);
    }

    [[nodiscard]] static Program::Options onTheDesktop()
    {
        Program::Options options{.hasNetwork = false};
        const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const QString &name : environment.keys())
            options.environment[name] = environment.value(name);
        return options;
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_DesktopTask::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->enableAccessibility();
    m_desktop->install(u"org.gnome.Calculator.desktop"_s);
    m_desktop->install(u"org.xfce.mousepad.desktop"_s, {u"text/plain"_s});
    m_desktop->install(u"pcmanfm.desktop"_s, {u"inode/directory"_s});
}

void tst_DesktopTask::cleanupTestCase()
{
    closeEverything();
    m_desktop.reset();
}

void tst_DesktopTask::aTaskOfManyStepsIsCarriedOut()
{
    // The model needs no time between the steps, so the applications are started before.
    QVERIFY(QDir(m_desktop->home()).mkpath(u"Documents/Bills 2025"_s));
    m_desktop->write(u"bill.txt"_s, " euros\n");
    QCOMPARE(outcome(u"open_path"_s, {{u"path"_s, u"bill.txt"_s}}), u"Opened bill.txt."_s);
    APP_TRY_COMPARE(frontName(), u"Mousepad"_s);
    APP_TRY_VERIFY(activeTitle().contains(u"bill.txt"_s));
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Calculator"_s}}),
             u"Calculator is now frontmost."_s);
    APP_TRY_VERIFY(readUI().contains(u"Button: = ="_s));

    giveModel({uR"({"action":"type_text","text":"6*7\n"})"_s,
               uR"({"action":"focus_app","app":"TextEdit"})"_s,
               uR"({"action":"type_text","text":"It is 42"})"_s,
               uR"({"action":"click","label":"File"})"_s, uR"({"action":"click","label":"save"})"_s,
               uR"({"action":"press_key","key":"F12"})"_s,
               uR"({"action":"screenshot","save_to":"Documents/Bills 2025"})"_s,
               uR"({"action":"find_files","folder":"Documents","query":"bills"})"_s,
               uR"({"action":"done","message":"The bill says 42."})"_s});
    Program quillon(u"" QUILLON_PROGRAM ""_s,
                    {u"--task"_s, u"Work out the bill and write it down"_s}, onTheDesktop());
    QVERIFY2(quillon.waitForExit(2 * eventually).value_or(-1) == 0,
             qPrintable(quillon.output() + quillon.errors()));

    const QStringList transcript{u"Work out the bill and write it down"_s,
                                 u"  ✓ Typing “6*7”"_s,
                                 u"  ✓ Launching TextEdit"_s,
                                 u"  ✓ Typing “It is 42”"_s,
                                 u"  ✓ Clicking “File”"_s,
                                 u"  ✓ Clicking “save”"_s,
                                 u"  ✗ Pressing F12 — Unsupported key “F12”."_s,
                                 u"  ✓ Taking a screenshot"_s,
                                 u"  ✓ Searching Documents"_s,
                                 u"  ✔ The bill says 42."_s,
                                 QString()};
    QCOMPARE(quillon.output().split(u'\n'), transcript);
    APP_TRY_COMPARE(m_desktop->read(u"bill.txt"_s), "It is 42 euros\n"_ba);
    const QDir folder(m_desktop->home(u"Documents/Bills 2025"_s));
    const QStringList pictures = folder.entryList(QDir::Files | QDir::Hidden);
    QCOMPARE(pictures.size(), 1);
    QCOMPARE(QImage(folder.filePath(pictures[0])).size(), QSize(1280, 800));
    APP_TRY_COMPARE(windows().constFirst(), u"File Manager PCManFM — Documents"_s);
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Calculator"_s}}),
             u"Calculator is now frontmost."_s);
    APP_TRY_VERIFY(readUI().contains(u"TextField: 42 |"_s));
}

QTEST_GUILESS_MAIN(tst_DesktopTask)
#include "tst_DesktopTask.moc"
