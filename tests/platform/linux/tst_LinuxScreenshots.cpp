#include "tests/executor/Running.h"
#include "tests/support/VirtualDesktop.h"

#include <QColor>
#include <QDir>
#include <QImage>
#include <QTest>

#include <array>
#include <csignal>
#include <xcb/xcb.h>

using namespace Qt::StringLiterals;

namespace {
// Shows areas of colour on the screen while it exists.
class Painting
{
public:
    Painting() : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        for (auto depth = xcb_screen_allowed_depths_iterator(m_screen); depth.rem > 0;
             xcb_depth_next(&depth)) {
            for (auto each = xcb_depth_visuals_iterator(depth.data); each.rem > 0;
                 xcb_visualtype_next(&each)) {
                if (each.data->visual_id == m_screen->root_visual)
                    m_visual = each.data;
            }
        }
    }

    ~Painting() { xcb_disconnect(m_connection); }

    Painting(const Painting &) = delete;
    Painting &operator=(const Painting &) = delete;

    void paint(const QRect &area, QColor colour)
    {
        // Each colour component has none or all of its bits, so that every depth has these colours.
        const std::array<uint32_t, 2> values{(colour.red() ? m_visual->red_mask : 0) |
                                                 (colour.green() ? m_visual->green_mask : 0) |
                                                 (colour.blue() ? m_visual->blue_mask : 0),
                                             1};
        const xcb_window_t window = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, m_screen->root,
                          static_cast<int16_t>(area.x()), static_cast<int16_t>(area.y()),
                          static_cast<uint16_t>(area.width()), static_cast<uint16_t>(area.height()),
                          0, XCB_WINDOW_CLASS_INPUT_OUTPUT, m_screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
        xcb_map_window(m_connection, window);
        std::free(
            xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }

private:
    xcb_connection_t *m_connection;
    xcb_screen_t *m_screen = nullptr;
    xcb_visualtype_t *m_visual = nullptr;
};

const QString savedTo = u"Saved screenshot to "_s;

// The image of the screenshot that the sentence names.
QImage picture(const QString &sentence)
{
    return sentence.startsWith(savedTo) ? QImage(sentence.sliced(savedTo.size()).chopped(1), "PNG")
                                        : QImage();
}
} // namespace

class tst_LinuxScreenshots : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void theWholeScreenIsInThePicture_data();
    void theWholeScreenIsInThePicture();
    void monitorsShareOnePicture();
    void coloursByTableAreRefused();
    void aServerThatHangsIsNotWaitedForForever();
    void aServerThatIsGoneIsTold();
    void aFolderThatIsNotThereIsTold();

    void scriptsAreOfAnotherSystem();

private:
    void makeDesktop(const VirtualDesktop::Options &options = {})
    {
        m_desktop = std::make_unique<VirtualDesktop>(options);
        QVERIFY(QDir(m_desktop->home()).mkdir(u"Downloads"_s));
    }

    [[nodiscard]] QStringList downloads() const
    {
        return QDir(m_desktop->home(u"Downloads"_s))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_LinuxScreenshots::cleanup()
{
    m_desktop.reset();
}

void tst_LinuxScreenshots::theWholeScreenIsInThePicture_data()
{
    QTest::addColumn<QString>("screen");
    QTest::addColumn<QStringList>("arguments");
    const QStringList none;
    QTest::newRow("24 bits") << u"1280x800x24"_s << none;
    QTest::newRow("an odd width") << u"1001x601x24"_s << none;
    QTest::newRow("15 bits") << u"801x600x15"_s << none;
    QTest::newRow("16 bits") << u"801x600x16"_s << none;
    QTest::newRow("30 bits") << u"800x600x30"_s << none;
    QTest::newRow("many pixels") << u"5120x2880x24"_s << none;
    QTest::newRow("a server without shared memory")
        << u"1281x800x24"_s << QStringList{u"-extension"_s, u"MIT-SHM"_s};
    QTest::newRow("a server that knows no monitors")
        << u"1280x800x24"_s << QStringList{u"-extension"_s, u"RANDR"_s};
}

void tst_LinuxScreenshots::theWholeScreenIsInThePicture()
{
    QFETCH(const QString, screen);
    QFETCH(const QStringList, arguments);
    makeDesktop({screen, arguments});
    const QStringList numbers = screen.split(u'x');
    const QSize size(numbers[0].toInt(), numbers[1].toInt());
    const QRect corner(size.width() - 7, size.height() - 5, 7, 5);
    Painting painting;
    painting.paint({QPoint(0, 0), size}, Qt::white);
    painting.paint({0, 0, 3, 3}, Qt::red);
    painting.paint({100, 50, 40, 30}, Qt::green);
    painting.paint(corner, Qt::blue);

    const QImage image = picture(outcome(u"screenshot"_s));
    QCOMPARE(image.size(), size);
    QCOMPARE(image.pixelColor(0, 0), QColor(Qt::red));
    QCOMPARE(image.pixelColor(3, 3), QColor(Qt::white));
    QCOMPARE(image.pixelColor(99, 60), QColor(Qt::white));
    QCOMPARE(image.pixelColor(100, 50), QColor(0, 255, 0));
    QCOMPARE(image.pixelColor(139, 79), QColor(0, 255, 0));
    QCOMPARE(image.pixelColor(140, 79), QColor(Qt::white));
    QCOMPARE(image.pixelColor(corner.left() - 1, corner.top()), QColor(Qt::white));
    QCOMPARE(image.pixelColor(corner.topLeft()), QColor(Qt::blue));
    QCOMPARE(image.pixelColor(corner.bottomRight()), QColor(Qt::blue));
    QCOMPARE(downloads().size(), 1);
}

void tst_LinuxScreenshots::monitorsShareOnePicture()
{
    makeDesktop();
    // A small monitor beside a tall one, which extends beyond the screen.
    for (const QStringList &monitor :
         {QStringList{u"left"_s, u"700/200x500/100+0+0"_s, u"screen"_s},
          QStringList{u"right"_s, u"700/200x800/200+700+0"_s, u"none"_s}}) {
        QProcess &tool = m_desktop->start(u"xrandr"_s, QStringList{u"--setmonitor"_s} + monitor);
        QVERIFY(tool.waitForFinished());
        QCOMPARE(tool.exitCode(), 0);
    }
    Painting painting;
    painting.paint({0, 0, 1280, 800}, Qt::white);
    painting.paint({690, 490, 20, 20}, Qt::red);
    const QImage image = picture(outcome(u"screenshot"_s));
    QCOMPARE(image.size(), QSize(1280, 800));
    QCOMPARE(image.pixelColor(0, 0), QColor(Qt::white));
    QCOMPARE(image.pixelColor(695, 499), QColor(Qt::red));
    QCOMPARE(image.pixelColor(705, 505), QColor(Qt::red));
    QCOMPARE(image.pixelColor(1279, 799), QColor(Qt::white));
    // The area below the small monitor is not visible.
    QCOMPARE(image.pixelColor(695, 500), QColor(Qt::black));
    QCOMPARE(image.pixelColor(0, 799), QColor(Qt::black));
}

void tst_LinuxScreenshots::coloursByTableAreRefused()
{
    makeDesktop({u"640x480x8"_s});
    QCOMPARE(outcome(u"screenshot"_s),
             u"PlatformError: The display doesn't let its picture be taken."_s);
    QCOMPARE(downloads(), QStringList());
}

void tst_LinuxScreenshots::aServerThatHangsIsNotWaitedForForever()
{
    makeDesktop();
    const auto server = static_cast<pid_t>(m_desktop->server());
    QCOMPARE(::kill(server, SIGSTOP), 0);
    QCOMPARE(outcome(u"screenshot"_s), u"PlatformError: The display doesn't answer."_s);
    QCOMPARE(::kill(server, SIGCONT), 0);
    // The abandoned capture writes no file; the next one does.
    QVERIFY(!picture(outcome(u"screenshot"_s)).isNull());
    QCOMPARE(downloads().size(), 1);
}

void tst_LinuxScreenshots::aServerThatIsGoneIsTold()
{
    makeDesktop();
    m_desktop->endServer();
    QCOMPARE(outcome(u"screenshot"_s),
             u"PlatformError: There is no display to take a picture of."_s);
    QCOMPARE(downloads(), QStringList());
}

void tst_LinuxScreenshots::aFolderThatIsNotThereIsTold()
{
    makeDesktop();
    QCOMPARE(outcome(u"screenshot"_s, {{u"folder"_s, u"Projects/new"_s}}),
             u"PlatformError: The file can't be saved: No such file or directory."_s);
}

void tst_LinuxScreenshots::scriptsAreOfAnotherSystem()
{
    QCOMPARE(outcome(u"applescript"_s, {{u"script"_s, u"beep"_s}}),
             u"ActionError: AppleScript error: AppleScript is only available on macOS."_s);
}

QTEST_GUILESS_MAIN(tst_LinuxScreenshots)
#include "tst_LinuxScreenshots.moc"
