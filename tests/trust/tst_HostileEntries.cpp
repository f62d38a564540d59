// Folders of applications that have no end, and files in them that no reader comes back from: a
// whole task goes its way as if they were not there.

#include "models/LocalModel.h"
#include "tests/support/Program.h"
#include "tests/support/TestModel.h"
#include "tests/support/VirtualDesktop.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <filesystem>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {
const QString applications = u".local/share/applications/"_s;

// Much longer than the task takes, and less than the harness waits for the whole test.
constexpr int timeout = 180'000;
} // namespace

class tst_HostileEntries : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void linksAndPipesAmongTheEntriesCostNothing();

private:
    void install(const QString &id, const QByteArray &more) const;

    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_HostileEntries::install(const QString &id, const QByteArray &more) const
{
    const QString body = uR"(echo "$*" > "$HOME/%1.told"
exec "%2" shown x.%1 unattended
)"_s.arg(id, u"" TEST_WINDOW ""_s);
    const QString script = m_desktop->writeScript(u"bin/"_s + id, body.toUtf8());
    m_desktop->write(applications + id + u".desktop"_s,
                     "[Desktop Entry]\nType=Application\nName=" + id.toUtf8() +
                         "\nExec=" + script.toUtf8() + " %u\n" + more);
}

void tst_HostileEntries::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    install(u"Reader"_s, "MimeType=text/plain;\n");
    install(u"Surfer"_s, "MimeType=x-scheme-handler/https;\n");
    install(u"Plain"_s, {});
    m_desktop->write(u".config/mimeapps.list"_s,
                     "[Default Applications]\nx-scheme-handler/https=Surfer.desktop\n"
                     "text/plain=Reader.desktop\n");
    m_desktop->write(u"letter.txt"_s, "text");
}

void tst_HostileEntries::linksAndPipesAmongTheEntriesCostNothing()
{
    const std::filesystem::path folder = m_desktop->home(applications).toStdString();
    // Each link multiplies the ways through the folder, at each level.
    for (const char *const link : {"a", "b", "c", "d", "e", "f"})
        std::filesystem::create_directory_symlink(".", folder / link);
    std::filesystem::create_directory_symlink("..", folder / "above");
    std::filesystem::create_directory_symlink("/usr", folder / "usr");
    std::filesystem::create_directory_symlink("/proc", folder / "proc");
    for (const char *const pipe : {"x.desktop", "Plain2.desktop", "mimeinfo.cache", "mimeapps.list",
                                   "defaults.list", "test-mimeapps.list"})
        QCOMPARE(mkfifo((folder / pipe).c_str(), 0600), 0);
    std::filesystem::create_symlink("/dev/zero", folder / "zero.desktop");
    std::filesystem::create_symlink("/dev/stdin", folder / "input.desktop");

    const QString file = u".local/share/Quillon/Models/"_s + LocalModel::catalog().first().fileName;
    m_desktop->write(file, {});
    const TestModel model = TestModel::saying(
        {R"({"action":"open_app","app":"Plain"})",
         R"({"action":"open_url","url":"https://example.com/x"})",
         R"({"action":"open_path","path":"letter.txt"})", R"({"action":"open_app","app":"Plain2"})",
         R"({"action":"done","message":"All is open."})"});
    model.write(m_desktop->home(file));

    Program::Options options;
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString &name : environment.keys())
        options.environment[name] = environment.value(name);
    Program quillon(u"" QUILLON_PROGRAM ""_s, {u"--task"_s, u"Open all of it"_s}, options);
    const std::optional<int> status = quillon.waitForExit(timeout);
    QCOMPARE(status, 0);
    QCOMPARE(quillon.output(), u"Open all of it\n"
                               "  ✓ Launching Plain\n"
                               "  ✓ Navigating to example.com/x\n"
                               "  ✓ Opening letter.txt\n"
                               "  ✗ Launching Plain2 — Couldn't find an app called “Plain2”.\n"
                               "  ✔ All is open.\n"_s);
    QCOMPARE(m_desktop->read(u"Surfer.told"_s), "https://example.com/x\n"_ba);
    QCOMPARE(m_desktop->read(u"Reader.told"_s), m_desktop->home(u"letter.txt"_s).toUtf8() + '\n');
}

QTEST_GUILESS_MAIN(tst_HostileEntries)
#include "tst_HostileEntries.moc"
