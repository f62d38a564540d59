#include "platform/Accessibility.h"
#include "platform/linux/Capabilities.h"

#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/VirtualDesktop.h"
#include "tests/support/Waiting.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QTest>

#include <csignal>
#include <dbus/dbus.h>

using namespace Qt::StringLiterals;

namespace {
/// The desktop's real controls, with a given process in front.
class FrontPlatform final : public FakePlatform
{
public:
    explicit FrontPlatform(qint64 process)
    {
        fakeWorkspace.front = Application{.pid = ProcessId{process}, .name = u"Liar"_s};
    }

    Accessibility &accessibility() override { return *m_accessibility; }

private:
    const std::unique_ptr<Accessibility> m_accessibility = makeLinuxAccessibility();
};

QString click(const QString &label)
{
    return outcome(u"click"_s, {{u"label"_s, label}});
}

QString readUI()
{
    return outcome(u"read_ui"_s);
}

bool waitForLine(QProcess &process, const QByteArray &line)
{
    for (const QDeadlineTimer limit(eventually); !limit.hasExpired();) {
        while (process.canReadLine()) {
            if (process.readLine().trimmed() == line)
                return true;
        }
        process.waitForReadyRead(100);
    }
    return false;
}
} // namespace

class tst_LinuxAccessibility : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void withoutASessionNobodyIsTrusted();
    void askingEnablesTheBus();

    void controlsAreReadAndPressed();
    void anApplicationThatIsNotOnTheBusHasNoControls();
    void aProcessThatIsOurOwnIsNotAsked();
    void aTreeInACircleEnds();
    void aHundredThousandChildrenAreNotFetched();
    void labelsOfAMegabyteAreCut();
    void elementsThatVanishAreSkipped();
    void valuesOfOtherTypesAreAbsent();
    void impossibleAndUnknownNamesAreSkipped();
    void elementsOfOurOwnAreNotAsked();
    void anAddressThatIsNoSocketIsNotFollowed_data();
    void anAddressThatIsNoSocketIsNotFollowed();
    void whatNobodySeesIsNotThere();
    void pagesBehindTheOneInFrontAreNotThere();
    void tabsInTheBackgroundAreNotThere();
    void ofEqualLabelsTheOneThatShowsIsPressed();
    void withoutAnyThatSaysItShowsTheFirstIsPressed();
    void whatTellsItsNameLateIsLookedAtAgain();
    void itemsOfClosedMenusComeAfterTheControls();
    void passwordsAreNotRead();
    void theActionIsChosenByItsName();
    void aControlThatRefusesIsTold();
    void aPressThatOpensADialogIsAPress();
    void aSlowApplicationIsNotWaitedForForEver();
    void anApplicationThatHangsIsTold_data();
    void anApplicationThatHangsIsTold();
    void anApplicationThatHangsAtAPressIsTold();
    void aBusThatGoesAwayIsTold();

private:
    QProcess &startLiar(const QString &manner, const QString &argument = {});

    std::unique_ptr<VirtualDesktop> m_desktop;
    QList<QProcess *> m_liars;
};

void tst_LinuxAccessibility::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
}

void tst_LinuxAccessibility::cleanup()
{
    for (QProcess *const liar : std::as_const(m_liars)) {
        liar->kill();
        liar->waitForFinished();
    }
    m_liars.clear();
}

QProcess &tst_LinuxAccessibility::startLiar(const QString &manner, const QString &argument)
{
    QProcess &liar = m_desktop->start(u"" LYING_APPLICATION ""_s, {manner, argument});
    m_liars.append(&liar);
    if (!waitForLine(liar, "known"))
        qFatal("The registry does not answer.");
    return liar;
}

void tst_LinuxAccessibility::withoutASessionNobodyIsTrusted()
{
    for (const char *address : {"", "unix:path=/nowhere", "no address at all"}) {
        const QByteArray session = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        const auto accessibility = makeLinuxAccessibility();
        accessibility->requestTrust();
        const bool trusted = accessibility->isTrusted();
        QString failure;
        try {
            (void)accessibility->open(ProcessId{1}, std::chrono::seconds(1));
        } catch (const PlatformError &error) {
            failure = QString::fromUtf8(error.what());
        }
        qputenv("DBUS_SESSION_BUS_ADDRESS", session);
        QVERIFY2(!trusted, address);
        QCOMPARE(failure, u"The accessibility bus doesn't respond."_s);
    }
}

void tst_LinuxAccessibility::askingEnablesTheBus()
{
    const auto accessibility = makeLinuxAccessibility();
    QVERIFY(!accessibility->isTrusted());
    accessibility->requestTrust();
    QVERIFY(accessibility->isTrusted());
}

void tst_LinuxAccessibility::controlsAreReadAndPressed()
{
    QProcess &liar = startLiar(u"honest"_s);
    const FrontPlatform platform(liar.processId());
    QCOMPARE(readUI(), u"Button: Button 0 | Button: Button 1 | Button: Button 2"_s);
    QCOMPARE(click(u"button 1"_s), u"Clicked “button 1”."_s);
    QVERIFY(waitForLine(liar, "DoAction 0 of /button/1"));
    QCOMPARE(click(u"button 7"_s), u"ActionError: Couldn't find a control labelled “button 7”."_s);
}

void tst_LinuxAccessibility::anApplicationThatIsNotOnTheBusHasNoControls()
{
    const FrontPlatform platform(1);
    QCOMPARE(readUI(), u"No readable controls found."_s);
    QCOMPARE(click(u"OK"_s), u"ActionError: Couldn't find a control labelled “OK”."_s);
}

void tst_LinuxAccessibility::aProcessThatIsOurOwnIsNotAsked()
{
    const FrontPlatform platform(QCoreApplication::applicationPid());
    QCOMPARE(readUI(), u"No readable controls found."_s);
}

void tst_LinuxAccessibility::aTreeInACircleEnds()
{
    const FrontPlatform platform(startLiar(u"circle"_s).processId());
    QCOMPARE(readUI(), u"Button: Button 0"_s);
    QCOMPARE(click(u"Button 1"_s), u"ActionError: Couldn't find a control labelled “Button 1”."_s);
}

void tst_LinuxAccessibility::aHundredThousandChildrenAreNotFetched()
{
    const FrontPlatform platform(startLiar(u"many"_s).processId());
    QCOMPARE(readUI(), u"Button: last | Button: Button 0"_s);
    QCOMPARE(click(u"Button 0"_s), u"Clicked “Button 0”."_s);
}

void tst_LinuxAccessibility::labelsOfAMegabyteAreCut()
{
    const FrontPlatform platform(startLiar(u"megabytes"_s).processId());
    const QStringList lines = readUI().split(u" | "_s);
    QCOMPARE(lines.size(), 20);
    QCOMPARE(lines[19], u"Button: 19"_s + u"x"_s.repeated(48));
    QCOMPARE(click(u"7x"_s), u"Clicked “7x”."_s);
}

void tst_LinuxAccessibility::elementsThatVanishAreSkipped()
{
    const FrontPlatform platform(startLiar(u"vanishing"_s).processId());
    QCOMPARE(readUI(), u"Button: Button 0 | Button: Button 3 | Button: Button 5"_s);
}

void tst_LinuxAccessibility::valuesOfOtherTypesAreAbsent()
{
    const FrontPlatform platform(startLiar(u"types"_s).processId());
    QCOMPARE(readUI(), u"No readable controls found."_s);
}

void tst_LinuxAccessibility::impossibleAndUnknownNamesAreSkipped()
{
    const FrontPlatform platform(startLiar(u"names"_s).processId());
    QCOMPARE(readUI(), u"Button: Button 0"_s);
}

void tst_LinuxAccessibility::elementsOfOurOwnAreNotAsked()
{
    // This process is on the bus like the panel, and cannot answer while it waits.
    QProcess address;
    address.start(u"dbus-send"_s,
                  {u"--session"_s, u"--print-reply=literal"_s, u"--dest=org.a11y.Bus"_s,
                   u"/org/a11y/bus"_s, u"org.a11y.Bus.GetAddress"_s});
    QVERIFY(address.waitForFinished());
    DBusConnection *const own =
        dbus_connection_open_private(address.readAll().trimmed().constData(), nullptr);
    QVERIFY(own && dbus_bus_register(own, nullptr));
    const char *const name = dbus_bus_get_unique_name(own);
    const char *const root = "/org/a11y/atspi/accessible/root";
    DBusMessage *const embed = dbus_message_new_method_call("org.a11y.atspi.Registry", root,
                                                            "org.a11y.atspi.Socket", "Embed");
    DBusMessageIter at;
    DBusMessageIter members;
    dbus_message_iter_init_append(embed, &at);
    dbus_message_iter_open_container(&at, DBUS_TYPE_STRUCT, nullptr, &members);
    dbus_message_iter_append_basic(&members, DBUS_TYPE_STRING, static_cast<const void *>(&name));
    dbus_message_iter_append_basic(&members, DBUS_TYPE_OBJECT_PATH,
                                   static_cast<const void *>(&root));
    dbus_message_iter_close_container(&at, &members);
    DBusMessage *const reply =
        dbus_connection_send_with_reply_and_block(own, embed, 20'000, nullptr);
    QVERIFY(reply);
    dbus_message_unref(reply);
    dbus_message_unref(embed);

    const FrontPlatform platform(startLiar(u"foreign"_s, QString::fromUtf8(name)).processId());
    QCOMPARE(readUI(), u"Button: Button 0"_s);
    while (dbus_connection_read_write(own, 0) &&
           dbus_connection_get_dispatch_status(own) == DBUS_DISPATCH_DATA_REMAINS) {
        DBusMessage *const message = dbus_connection_pop_message(own);
        const bool isQuestion =
            dbus_message_is_method_call(message, "org.a11y.atspi.Accessible", "GetRole");
        dbus_message_unref(message);
        QVERIFY(!isQuestion);
    }
    dbus_connection_close(own);
    dbus_connection_unref(own);
}

void tst_LinuxAccessibility::anAddressThatIsNoSocketIsNotFollowed_data()
{
    QTest::addColumn<QString>("address");
    QTest::newRow("a program") << u"unixexec:path=/usr/bin/touch,argv1=%1"_s;
    QTest::newRow("one behind another")
        << u"unix:path=/nowhere;unixexec:path=/usr/bin/touch,argv1=%1"_s;
    QTest::newRow("nobody") << u"unix:path=%1"_s;
    QTest::newRow("nonsense") << u"unix:"_s;
}

void tst_LinuxAccessibility::anAddressThatIsNoSocketIsNotFollowed()
{
    QFETCH(const QString, address);
    const QString touched = m_desktop->home(u"touched"_s);
    const FrontPlatform platform(
        startLiar(u"address"_s, address.contains(u'%') ? address.arg(touched) : address)
            .processId());
    QCOMPARE(readUI(), u"Button: Button 0"_s);
    QVERIFY(!QFile::exists(touched));
}

void tst_LinuxAccessibility::whatNobodySeesIsNotThere()
{
    const FrontPlatform platform(startLiar(u"hidden"_s).processId());
    QCOMPARE(readUI(), u"Button: scrolled away"_s);
    QCOMPARE(click(u"hidden"_s), u"ActionError: Couldn't find a control labelled “hidden”."_s);
}

void tst_LinuxAccessibility::pagesBehindTheOneInFrontAreNotThere()
{
    const FrontPlatform platform(startLiar(u"pages"_s).processId());
    QCOMPARE(readUI(), u"Button: scrolled away"_s);
    QCOMPARE(click(u"behind"_s), u"ActionError: Couldn't find a control labelled “behind”."_s);
    QCOMPARE(click(u"scrolled away"_s), u"Clicked “scrolled away”."_s);
}

void tst_LinuxAccessibility::tabsInTheBackgroundAreNotThere()
{
    QProcess &liar = startLiar(u"tabs"_s);
    const FrontPlatform platform(liar.processId());
    QCOMPARE(readUI(), u"Button: Buy now"_s);
    QCOMPARE(click(u"Buy now"_s), u"Clicked “Buy now”."_s);
    QVERIFY(waitForLine(liar, "DoAction 0 of /front/buy"));
    QCOMPARE(click(u"behind"_s), u"ActionError: Couldn't find a control labelled “behind”."_s);
}

void tst_LinuxAccessibility::ofEqualLabelsTheOneThatShowsIsPressed()
{
    QProcess &liar = startLiar(u"unclear"_s);
    const FrontPlatform platform(liar.processId());
    QCOMPARE(click(u"Buy now"_s), u"Clicked “Buy now”."_s);
    QVERIFY(waitForLine(liar, "DoAction 0 of /clear"));
}

void tst_LinuxAccessibility::withoutAnyThatSaysItShowsTheFirstIsPressed()
{
    QProcess &liar = startLiar(u"never"_s);
    const FrontPlatform platform(liar.processId());
    QCOMPARE(click(u"Buy now"_s), u"Clicked “Buy now”."_s);
    QVERIFY(waitForLine(liar, "DoAction 0 of /first"));
}

void tst_LinuxAccessibility::whatTellsItsNameLateIsLookedAtAgain()
{
    {
        const FrontPlatform platform(startLiar(u"lazy"_s).processId());
        QCOMPARE(readUI(), u"Button: Buy now"_s);
    }
    // Its name, and then its action.
    QProcess &liar = startLiar(u"lazy"_s);
    const FrontPlatform platform(liar.processId());
    QCOMPARE(click(u"Buy now"_s), u"Clicked “Buy now”."_s);
    QVERIFY(waitForLine(liar, "DoAction 0 of /lazy"));
}

void tst_LinuxAccessibility::itemsOfClosedMenusComeAfterTheControls()
{
    QProcess &liar = startLiar(u"menus"_s);
    const FrontPlatform platform(liar.processId());
    QCOMPARE(readUI(), u"Button: Send | MenuItem: Save as | MenuItem: Recent | MenuItem: Letter"_s);
    QCOMPARE(click(u"Letter"_s), u"Clicked “Letter”."_s);
    QVERIFY(waitForLine(liar, "DoAction 0 of /letter"));
    QCOMPARE(click(u"File"_s), u"Clicked “File”."_s);
    QVERIFY(waitForLine(liar, "DoAction 0 of /file"));
}

void tst_LinuxAccessibility::passwordsAreNotRead()
{
    const FrontPlatform platform(startLiar(u"fields"_s).processId());
    QCOMPARE(readUI(), u"TextField: what was typed | TextField: Your password"_s);
}

void tst_LinuxAccessibility::theActionIsChosenByItsName()
{
    QProcess &liar = startLiar(u"actions"_s);
    const FrontPlatform platform(liar.processId());
    QCOMPARE(click(u"focus"_s), u"ActionError: “focus” didn't respond to a click."_s);
    QCOMPARE(click(u"none"_s), u"ActionError: “none” didn't respond to a click."_s);
    // Office suites name the only action of an element not at all.
    QCOMPARE(click(u"sole"_s), u"Clicked “sole”."_s);
    QVERIFY(waitForLine(liar, "DoAction 0 of /sole"));
    QCOMPARE(click(u"both"_s), u"ActionError: “both” didn't respond to a click."_s);
    QCOMPARE(click(u"second"_s), u"Clicked “second”."_s);
    QVERIFY(waitForLine(liar, "DoAction 1 of /second"));
    QCOMPARE(click(u"tab"_s), u"Clicked “tab”."_s);
    QVERIFY(waitForLine(liar, "SelectChild 0 of /org/a11y/atspi/accessible/root"));
}

void tst_LinuxAccessibility::aControlThatRefusesIsTold()
{
    const FrontPlatform platform(startLiar(u"refuse"_s).processId());
    QCOMPARE(click(u"Button 0"_s), u"ActionError: “Button 0” didn't respond to a click."_s);
}

void tst_LinuxAccessibility::aPressThatOpensADialogIsAPress()
{
    const FrontPlatform platform(startLiar(u"dialog"_s).processId());
    QCOMPARE(click(u"Button 0"_s), u"Clicked “Button 0”."_s);
}

void tst_LinuxAccessibility::aSlowApplicationIsNotWaitedForForEver()
{
    const FrontPlatform platform(startLiar(u"slow"_s).processId());
    const auto accessibility = makeLinuxAccessibility();
    QCOMPARE(readUI(), u"ActionError: “Liar” doesn't respond."_s);
}

void tst_LinuxAccessibility::anApplicationThatHangsIsTold_data()
{
    QTest::addColumn<QString>("manner");
    QTest::addColumn<QString>("calls");
    for (const char *manner : {"silent", "stops", "dies"}) {
        for (const char *calls : {"0", "3", "100"}) {
            QTest::addRow("%s after %s", manner, calls)
                << QString::fromLatin1(manner) << QString::fromLatin1(calls);
        }
    }
}

void tst_LinuxAccessibility::anApplicationThatHangsIsTold()
{
    QFETCH(const QString, manner);
    QFETCH(const QString, calls);
    const FrontPlatform platform(startLiar(manner, calls).processId());
    QCOMPARE(click(u"nothing"_s), u"ActionError: “Liar” doesn't respond."_s);
}

void tst_LinuxAccessibility::anApplicationThatHangsAtAPressIsTold()
{
    const QProcess &liar = startLiar(u"honest"_s);
    const auto accessibility = makeLinuxAccessibility();
    const auto tree = accessibility->open(ProcessId{liar.processId()}, std::chrono::seconds(20));
    const QList<ElementId> window = tree->nodes(tree->roots(), 9)[0].children;
    const QList<ElementId> buttons = tree->nodes(window, 9)[0].children;
    QCOMPARE(buttons.size(), 3);
    kill(static_cast<pid_t>(liar.processId()), SIGSTOP);
    QVERIFY(!tree->press(buttons[0]));
}

void tst_LinuxAccessibility::aBusThatGoesAwayIsTold()
{
    const FrontPlatform platform(startLiar(u"ends-the-bus"_s, u"20"_s).processId());
    QCOMPARE(readUI(), u"PlatformError: The accessibility bus doesn't respond."_s);
}

QTEST_GUILESS_MAIN(tst_LinuxAccessibility)
#include "tst_LinuxAccessibility.moc"
