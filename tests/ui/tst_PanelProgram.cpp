// The program like for a user: a task typed into the real panel, a real model file, real actions,
// real keys and clicks.

#include "models/LocalModel.h"
#include "platform/linux/x11/X11Desktop.h"
#include "tests/support/Hands.h"
#include "tests/support/TestModel.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QTest>

using namespace Hands;
using namespace Qt::StringLiterals;

namespace {
const QRect inTheMiddle(280, 90, 720, 620); // on a screen of 1280 by 800

QVariant ask(const QDBusConnection &bus, const QDBusMessage &question)
{
    const QVariant answer = bus.call(question).arguments().value(0);
    return answer.canConvert<QDBusVariant>() ? answer.value<QDBusVariant>().variant() : answer;
}
} // namespace

/// Does what screen readers do with elements that appear.
class ScreenReader final : public QObject
{
    Q_OBJECT

public:
    ScreenReader()
        : m_bus(QDBusConnection::connectToBus(
              ask(QDBusConnection::sessionBus(),
                  QDBusMessage::createMethodCall(u"org.a11y.Bus"_s, u"/org/a11y/bus"_s,
                                                 u"org.a11y.Bus"_s, u"GetAddress"_s))
                  .toString(),
              u"screen reader"_s))
    {
        m_bus.connect(QString(), QString(), u"org.a11y.atspi.Event.Object"_s, u"StateChanged"_s,
                      this, SLOT(record(QDBusMessage)));
    }
    ~ScreenReader() override { QDBusConnection::disconnectFromBus(u"screen reader"_s); }

    QStringList spoken; ///< The role and the name of each element.

private Q_SLOTS:
    void record(const QDBusMessage &event)
    {
        if (event.arguments().value(0) != u"showing"_s || event.arguments().value(1) != 1)
            return;
        const auto accessible = u"org.a11y.atspi.Accessible"_s;
        const QString role =
            ask(m_bus, QDBusMessage::createMethodCall(event.service(), event.path(), accessible,
                                                      u"GetRoleName"_s))
                .toString();
        QDBusMessage name = QDBusMessage::createMethodCall(
            event.service(), event.path(), u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
        name << accessible << u"Name"_s;
        spoken << role + u": "_s + ask(m_bus, name).toString();
    }

private:
    QDBusConnection m_bus;
};

class tst_PanelProgram : public QObject
{
    Q_OBJECT

public:
    explicit tst_PanelProgram(VirtualDesktop &desktop) : m_desktop(desktop) {}

private Q_SLOTS:
    void cleanup();

    void performsATypedTask();
    void tellsScreenReadersOfItsSteps();
    void performsARiskyStepThatIsAllowed();
    void aLongQuestionIsReadToItsEndFirst();
    void leavesARiskyStepThatIsDeclined();
    void leavesARiskyStepWhenStopped();
    void isDraggedByAnEmptyArea();
    void isResizedByAnEdge();
    void minimisesAndClosesByItsControls();

private:
    [[nodiscard]] std::optional<X11Window> panel()
    {
        const X11Snapshot look = m_screen.snapshot().value_or(X11Snapshot());
        for (const X11Window &window : look.windows) {
            if (window.title == u"Quillon" && window.onScreen)
                return window;
        }
        return std::nullopt;
    }
    [[nodiscard]] QRect place()
    {
        const std::optional<X11Window> window = panel();
        return window ? geometry(*window) : QRect();
    }
    /// Whether the panel has the focus according to the X server.
    [[nodiscard]] bool panelHasTheKeyboard()
    {
        const std::optional<X11Window> window = panel();
        return window && xdotool({u"getwindowfocus"_s}).trimmed() == number(*window).toLatin1();
    }
    /// Whether the card is shown: it is white on the grey panel.
    [[nodiscard]] static bool asks()
    {
        const QPixmap picture = QGuiApplication::primaryScreen()->grabWindow(0, 440, 424, 1, 1);
        return picture.toImage().pixelColor(0, 0) == QColor(Qt::white);
    }
    static void keepPicture(const QString &name)
    {
        QDir().mkpath(u"" SCREENSHOTS ""_s);
        QVERIFY(QGuiApplication::primaryScreen()->grabWindow(0).save(u"" SCREENSHOTS
                                                                     "/%1.png"_s.arg(name)));
    }
    /// Starts the program with a model that gives these replies in order.
    void start(const QList<QByteArray> &replies);
    /// Starts the program and types a task that needs approval.
    void startAndAsk(const QByteArray &path = "old.zip");
    [[nodiscard]] bool isTrashed() const { return !QFile::exists(m_desktop.home(u"old.zip"_s)); }

    VirtualDesktop &m_desktop;
    X11Desktop m_screen;
    QProcess m_program;
};

void tst_PanelProgram::cleanup()
{
    m_program.kill();
    m_program.waitForFinished(-1);
    QTRY_VERIFY(!panel());
}

void tst_PanelProgram::start(const QList<QByteArray> &replies)
{
    const QString file = u".local/share/Quillon/Models/"_s + LocalModel::catalog().first().fileName;
    m_desktop.write(file, {});
    TestModel::saying(replies).write(m_desktop.home(file));
    m_desktop.write(u"old.zip"_s, "old");
    QDir().mkpath(m_desktop.home(u"Documents"_s));
    m_program.setProcessChannelMode(QProcess::ForwardedChannels);
    m_program.start(u"" QUILLON_PROGRAM ""_s, QStringList());
    QVERIFY(m_program.waitForStarted());
    QTRY_VERIFY(panelHasTheKeyboard());
    QTRY_COMPARE(place(), inTheMiddle);
}

void tst_PanelProgram::startAndAsk(const QByteArray &path)
{
    start({R"({"action":"trash","path":")" + path + R"("})",
           R"({"action":"done","message":"That is all there was to do."})"});
    // Return has no effect until the model is loaded.
    type(u"tidy up"_s);
    const auto asksAfterReturn = [] {
        if (!asks())
            press(u"Return"_s);
        return QTest::qWaitFor([] { return asks(); }, 2000);
    };
    QVERIFY(QTest::qWaitFor(asksAfterReturn, eventually));
}

void tst_PanelProgram::performsATypedTask()
{
    start({R"({"action":"screenshot","save_to":"Documents"})",
           R"({"action":"done","message":"The picture is there."})"});
    // Return has no effect until the model is loaded.
    type(u"take a picture"_s);
    const auto isTaken = [this] {
        press(u"Return"_s);
        const QDir documents(m_desktop.home(u"Documents"_s));
        return QTest::qWaitFor([&documents] { return !documents.isEmpty(QDir::Files); }, 2000);
    };
    QVERIFY(QTest::qWaitFor(isTaken, eventually));
    keepPicture(u"program-task"_s);
}

void tst_PanelProgram::tellsScreenReadersOfItsSteps()
{
    m_desktop.enableAccessibility();
    ScreenReader reader;
    start({R"({"action":"screenshot","save_to":"Documents"})",
           R"({"action":"done","message":"The picture is there."})"});
    type(u"take a picture"_s);
    const auto isDone = [&] {
        press(u"Return"_s);
        return QTest::qWaitFor(
            [&] { return reader.spoken.join(u'\n').contains(u"The picture is there."_s); }, 2000);
    };
    QVERIFY(QTest::qWaitFor(isDone, eventually));
    QVERIFY(reader.spoken.first().startsWith(u"notification: "_s));
    QVERIFY(reader.spoken.join(u'\n').contains(u"Taking a screenshot"_s));
}

void tst_PanelProgram::performsARiskyStepThatIsAllowed()
{
    startAndAsk();
    keepPicture(u"program-confirm"_s);
    QVERIFY(!isTrashed());
    // It accepts no approval at first.
    const auto isTrashedAfterReturn = [this] {
        if (asks())
            press(u"Return"_s);
        return isTrashed();
    };
    QVERIFY(QTest::qWaitFor(isTrashedAfterReturn, eventually));
    QTRY_VERIFY(!asks());
}

void tst_PanelProgram::aLongQuestionIsReadToItsEndFirst()
{
    startAndAsk(QByteArray("./").repeated(1500) + "old.zip");
    // Longer than the card's delay.
    QTest::qWait(1000);
    for (int i = 0; i < 5; ++i) {
        press(u"Return"_s);
        QTest::qWait(100);
    }
    QVERIFY(asks());
    QVERIFY(!isTrashed());
    keepPicture(u"program-confirm-long"_s);
    press(u"End"_s);
    const auto isTrashedAfterReturn = [this] {
        if (asks())
            press(u"Return"_s);
        return isTrashed();
    };
    QVERIFY(QTest::qWaitFor(isTrashedAfterReturn, eventually));
}

void tst_PanelProgram::leavesARiskyStepThatIsDeclined()
{
    startAndAsk();
    press(u"Escape"_s);
    QTRY_VERIFY(!asks());
    QVERIFY(panelHasTheKeyboard());
    QVERIFY(!isTrashed());
    // The next Escape hides the panel.
    press(u"Escape"_s);
    QTRY_VERIFY(!panel());
    QVERIFY(!isTrashed());
}

void tst_PanelProgram::leavesARiskyStepWhenStopped()
{
    startAndAsk();
    click(inTheMiddle.topRight() + QPoint(-22 - 17, 34 + 17));
    QTRY_VERIFY(!asks());
    QVERIFY(!isTrashed());
    QVERIFY(panel());
}

void tst_PanelProgram::isDraggedByAnEmptyArea()
{
    start({R"({"action":"done","message":"Nothing to do."})"});
    const QPoint empty = inTheMiddle.bottomLeft() + QPoint(300, -100);
    drag(empty, empty + QPoint(-120, 60));
    // The panel follows the mouse once it has moved from where the button was pressed.
    const QRect way(QPoint(-120, 30), QPoint(-80, 60));
    const auto moved = [this] { return place().topLeft() - inTheMiddle.topLeft(); };
    QTRY_VERIFY(way.contains(moved()));
    QCOMPARE(place().size(), inTheMiddle.size());
}

void tst_PanelProgram::isResizedByAnEdge()
{
    start({R"({"action":"done","message":"Nothing to do."})"});
    const QPoint edge(inTheMiddle.right() - 2, inTheMiddle.center().y());
    drag(edge, edge + QPoint(80, 0));
    QTRY_VERIFY(place().width() > inTheMiddle.width() + 40);
    QCOMPARE(place().topLeft(), inTheMiddle.topLeft());
    QCOMPARE(place().height(), inTheMiddle.height());
}

void tst_PanelProgram::minimisesAndClosesByItsControls()
{
    start({R"({"action":"done","message":"Nothing to do."})"});
    for (const int fromTheRight : {44, 20}) {
        click(inTheMiddle.topRight() + QPoint(-fromTheRight, 18));
        QTRY_VERIFY(!panel());
        QCOMPARE(m_program.state(), QProcess::Running);
        QCOMPARE(QProcess::execute(u"" QUILLON_PROGRAM ""_s, {u"--toggle"_s}), 0);
        QTRY_VERIFY(panelHasTheKeyboard());
        QTRY_COMPARE(place(), inTheMiddle);
    }
}

int main(int argc, char *argv[])
{
    VirtualDesktop desktop;
    const QGuiApplication application(argc, argv);
    tst_PanelProgram test(desktop);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_PanelProgram.moc"
