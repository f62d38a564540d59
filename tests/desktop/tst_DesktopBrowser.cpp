#include "agent/AgentSession.h"
#include "models/ModelManager.h"
#include "tests/desktop/Desktop.h"
#include "tests/support/HttpServer.h"
#include "tests/support/ScriptedEngine.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {
// An HTML page with that title.
HttpServer::Answer page(const QByteArray &title, const QByteArray &body)
{
    return {.body = "<!DOCTYPE html><html lang=en><head><meta charset=utf-8><title>" + title +
                    "</title></head><body>" + body + "</body></html>",
            .headers = {"Content-Type: text/html; charset=utf-8"}};
}

QSslConfiguration loopbackTls()
{
    const QString folder = u"" QUILLON_TEST_SUPPORT "/tls/"_s;
    QFile key(folder + u"loopback-key.pem"_s);
    if (!key.open(QIODevice::ReadOnly))
        qFatal("%s cannot be read.", qPrintable(key.fileName()));
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setLocalCertificateChain(QSslCertificate::fromPath(folder + u"loopback-certificate.pem"_s));
    tls.setPrivateKey(QSslKey(&key, QSsl::Rsa));
    return tls;
}
} // namespace

// Tests Chromium with pages that the test serves.
class tst_DesktopBrowser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void anAddressOpensInTheDefaultBrowser();
    void anAddressOpensInTheNamedBrowserThatRuns();
    void aPageIsWaitedForAlthoughItIsCalledLikeTheOneBefore();
    void aSearchReachesTheEngineAsItWasMeant();
    void theStockBrowserMeansThisOne();
    void aLinkIsFollowed();
    void aPageIsReadButNotItsPasswords();
    void aNewTabOpensInFront();
    void theAddressFieldTakesWhatIsTyped();
    void aFormIsFilledAndSentOnceItIsApproved();
    void aFormIsNotSentWhenThatIsDeclined();
    void quittingEndsTheBrowser();
    void aBrowserThatWeStartShowsItsPage();

private:
    // The requested paths, without those that browsers request by themselves.
    [[nodiscard]] QList<QByteArray> asked(const HttpServer &server) const
    {
        QList<QByteArray> paths;
        for (const HttpServer::Request &request : server.requests()) {
            if (request.path != "/favicon.ico")
                paths.append(request.path);
        }
        return paths;
    }

    void open(const QString &path, const QString &title)
    {
        QVERIFY(outcome(u"open_url"_s, {{u"url"_s, m_server->url(path).toString()}})
                    .startsWith(u"Opened "_s));
        APP_TRY_COMPARE(frontWindow(), u"Chromium Web Browser — "_s + title + u" - Chromium"_s);
    }

    // Starts a session on the real desktop whose model gives these replies.
    void plan(const QStringList &replies)
    {
        auto engine = std::make_shared<ScriptedEngine>();
        engine->setLoaded(true);
        for (const QString &reply : replies)
            engine->addReplies({reply});
        m_session.reset();
        m_models = std::make_unique<ModelManager>(engine);
        QCoro::waitFor(m_models->loadIfNeeded());
        m_session = std::make_unique<AgentSession>(*m_models);
    }

    [[nodiscard]] QString frontWindow() const { return windows().constFirst(); }

    std::unique_ptr<VirtualDesktop> m_desktop;
    std::unique_ptr<HttpServer> m_server;
    std::unique_ptr<HttpServer> m_engine; ///< Replaces the search engine.
    QString m_startByHand;                ///< The browser as a user starts it.
    std::unique_ptr<ModelManager> m_models;
    std::unique_ptr<AgentSession> m_session;
};

void tst_DesktopBrowser::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->enableAccessibility();
    m_server = std::make_unique<HttpServer>();
    m_engine = std::make_unique<HttpServer>(loopbackTls());
    m_server->setAnswer(u"/one"_s, page("First page", "<h1>One</h1><a href=/two>Go on</a>"));
    m_server->setAnswer(u"/shop"_s, page("Shop", "<button>Order at once</button>"));
    HttpServer::Answer slow = page("Shop", "<button>Order slowly</button>");
    slow.holdAfter = 0;
    m_server->setAnswer(u"/slow-shop"_s, slow);
    m_server->setAnswer(u"/two"_s, page("Second page", "<h1>Two</h1>"));
    m_server->setAnswer(u"/order"_s,
                        page("Order form", "<form action=/sent method=get>"
                                           "<label>Name <input name=name autofocus></label>"
                                           "<label>Remark <input name=remark></label>"
                                           "<button>Send order</button></form>"));
    const QString sent = u"/sent?name=Ada+L%C3%B6ve&remark=two+%26+a+half"_s;
    m_server->setAnswer(sent, page("Thank you", "<h1>Thank you</h1>"));
    m_server->setAnswer(u"/login"_s,
                        page("Log in",
                             "<h1>Who are you?</h1><form><label>Password <input type=password "
                             "value=hunter2></label><button>Enter</button></form>"));
    m_engine->setAnswer(u"/search?q=a&b%20c%20%C3%A9"_s, page("Results", "<h1>Found</h1>"));

    m_desktop->install(u"debian-xterm.desktop"_s);
    m_desktop->install(u"chromium.desktop"_s,
                       {u"x-scheme-handler/http"_s, u"x-scheme-handler/https"_s, u"text/html"_s});
    // The entry with options for what is missing here: a sandbox, a graphics card, and the
    // internet.
    QFile entry(u"/usr/share/applications/chromium.desktop"_s);
    QVERIFY(entry.open(QIODevice::ReadOnly));
    const QByteArray options =
        " --no-sandbox --disable-gpu --disable-dev-shm-usage --password-store=basic --no-first-run"
        " --no-default-browser-check --no-proxy-server"
        " --ignore-certificate-errors \"--host-resolver-rules=MAP www.google.com:443 127.0.0.1:" +
        QByteArray::number(m_engine->url({}).port()) + ", EXCLUDE localhost\"";
    QByteArray content = entry.readAll();
    m_startByHand = QString::fromUtf8("/usr/bin/chromium" + options);
    content.replace("Exec=/usr/bin/chromium", "Exec=/usr/bin/chromium" + options);
    m_desktop->write(u".local/share/applications/chromium.desktop"_s, content);
}

void tst_DesktopBrowser::cleanupTestCase()
{
    closeEverything();
    m_desktop.reset();
}

void tst_DesktopBrowser::anAddressOpensInTheDefaultBrowser()
{
    const QUrl url = m_server->url(u"/one"_s);
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, url.toString()}}),
             u"Opened "_s + url.host() + u" in the default browser."_s);
    APP_TRY_COMPARE(frontWindow(), u"Chromium Web Browser — First page - Chromium"_s);
    QCOMPARE(asked(*m_server), QList<QByteArray>{"/one"});
}

void tst_DesktopBrowser::anAddressOpensInTheNamedBrowserThatRuns()
{
    m_desktop->start(u"xterm"_s, {});
    APP_TRY_COMPARE(frontName(), u"XTerm"_s);
    const ProcessId pid = processOf(u"chromium"_s);
    const QUrl url = m_server->url(u"/two"_s);
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, url.toString()}, {u"app"_s, u"Chromium"_s}}),
             u"Opened "_s + url.host() + u" in Chromium Web Browser."_s);
    APP_TRY_COMPARE(frontWindow(), u"Chromium Web Browser — Second page - Chromium"_s);
    QCOMPARE(asked(*m_server), (QList<QByteArray>{"/one", "/two"}));
    QCOMPARE(processOf(u"chromium"_s), pid);
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, url.toString()}, {u"app"_s, u"XTerm"_s}}),
             u"PlatformError: “XTerm” doesn't open addresses."_s);
}

void tst_DesktopBrowser::aPageIsWaitedForAlthoughItIsCalledLikeTheOneBefore()
{
    open(u"/shop"_s, u"Shop"_s);
    // What follows looks at the page at once.
    const SeenPauses pauses;
    QTimer::singleShot(3000, m_server.get(), [this] { m_server->release(); });
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, m_server->url(u"/slow-shop"_s).toString()}}),
             u"Opened 127.0.0.1 in the default browser."_s);
    const QString read = readUI();
    QVERIFY2(read.contains(u"Button: Order slowly"_s), qPrintable(read));
    QVERIFY2(!read.contains(u"Button: Order at once"_s), qPrintable(read));
}

void tst_DesktopBrowser::aSearchReachesTheEngineAsItWasMeant()
{
    QCOMPARE(outcome(u"web_search"_s, {{u"query"_s, u"a&b c é"_s}}),
             u"Opened www.google.com in the default browser."_s);
    APP_TRY_COMPARE(frontWindow(), u"Chromium Web Browser — Results - Chromium"_s);
    QCOMPARE(asked(*m_engine).constFirst(), "/search?q=a&b%20c%20%C3%A9"_ba);
}

void tst_DesktopBrowser::theStockBrowserMeansThisOne()
{
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"XTerm"_s}}), u"XTerm is now frontmost."_s);
    APP_TRY_COMPARE(frontName(), u"XTerm"_s);
    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Safari"_s}}),
             u"Chromium Web Browser is now frontmost."_s);
    APP_TRY_COMPARE(frontWindow(), u"Chromium Web Browser — Results - Chromium"_s);
}

void tst_DesktopBrowser::aLinkIsFollowed()
{
    open(u"/one"_s, u"First page"_s);
    APP_TRY_VERIFY(readUI().contains(u"Link: Go on"_s));
    click(u"go on"_s);
    APP_TRY_COMPARE(frontWindow(), u"Chromium Web Browser — Second page - Chromium"_s);
    QCOMPARE(asked(*m_server).constLast(), "/two"_ba);
}

void tst_DesktopBrowser::aPageIsReadButNotItsPasswords()
{
    open(u"/login"_s, u"Log in"_s);
    QString told;
    APP_TRY_VERIFY((told = readUI()).contains(u"Button: Enter"_s));
    QVERIFY2(told.contains(u"Who are you?"_s), qPrintable(told));
    QVERIFY2(!told.contains(u"hunter2"_s), qPrintable(told));
}

void tst_DesktopBrowser::aNewTabOpensInFront()
{
    open(u"/one"_s, u"First page"_s);
    QCOMPARE(outcome(u"new_tab"_s, {{u"app"_s, u"chromium"_s}}), u"Opened a new tab."_s);
    APP_TRY_COMPARE(frontWindow(), u"Chromium Web Browser — New Tab - Chromium"_s);
    APP_TRY_COMPARE(windows().filter(u"Chromium"_s).size(), 1);
}

void tst_DesktopBrowser::theAddressFieldTakesWhatIsTyped()
{
    open(u"/one"_s, u"First page"_s);
    const qsizetype before = asked(*m_server).size();
    const QString second = u"Chromium Web Browser — Second page - Chromium"_s;
    // The browser first offers a key to the page, which on a busy machine also receives keys that
    // follow at once; so the test waits like a user.
    for (const QDeadlineTimer limit(appLimit); frontWindow() != second && !limit.hasExpired();) {
        press(u"l"_s, u"command"_s);
        type(m_server->url(u"/two"_s).toString() + u'\n');
        (void)QTest::qWaitFor([&] { return frontWindow() == second; });
    }
    QCOMPARE(frontWindow(), second);
    QVERIFY(asked(*m_server).sliced(before).contains("/two"));
}

void tst_DesktopBrowser::aFormIsFilledAndSentOnceItIsApproved()
{
    open(u"/order"_s, u"Order form"_s);
    APP_TRY_VERIFY(readUI().contains(u"Button: Send order"_s));
    const qsizetype before = asked(*m_server).size();
    plan({uR"({"action":"type_text","text":"Ada Löve"})"_s,
          uR"({"action":"press_key","key":"tab"})"_s,
          uR"({"action":"type_text","text":"two & a half"})"_s,
          uR"({"action":"click","label":"Send order"})"_s,
          uR"({"action":"done","message":"The order is sent."})"_s});
    m_session->submit(u"Order two and a half for Ada Löve"_s);
    APP_TRY_VERIFY(m_session->pending());
    QCOMPARE(m_session->pending()->reason, u"Click “Send order” in Chromium Web Browser"_s);
    QCOMPARE(asked(*m_server).size(), before);
    m_session->resolve(true);
    APP_TRY_VERIFY(!m_session->isRunning());
    QCOMPARE(m_session->turns().constLast().summary, u"The order is sent."_s);
    APP_TRY_COMPARE(frontWindow(), u"Chromium Web Browser — Thank you - Chromium"_s);
    QCOMPARE(asked(*m_server).sliced(before),
             QList<QByteArray>{"/sent?name=Ada+L%C3%B6ve&remark=two+%26+a+half"});
}

void tst_DesktopBrowser::aFormIsNotSentWhenThatIsDeclined()
{
    open(u"/order"_s, u"Order form"_s);
    APP_TRY_VERIFY(readUI().contains(u"Button: Send order"_s));
    const qsizetype before = asked(*m_server).size();
    plan({uR"({"action":"click","label":"Send order"})"_s});
    m_session->submit(u"Send the order"_s);
    APP_TRY_VERIFY(m_session->pending());
    m_session->resolve(false);
    APP_TRY_VERIFY(!m_session->isRunning());
    // A later request would follow this one.
    open(u"/two"_s, u"Second page"_s);
    QCOMPARE(asked(*m_server).sliced(before), QList<QByteArray>{"/two"});
}

void tst_DesktopBrowser::quittingEndsTheBrowser()
{
    const ProcessId pid = processOf(u"chromium"_s);
    const Executor::PauseOverride untilItHasEnded([&](auto, const auto &) {
        APP_TRY_VERIFY(Platform::current().workspace().hasTerminated(pid));
    });
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"Chromium"_s}}), u"Chromium quit."_s);
    APP_TRY_VERIFY(m_desktop->processes(u"/chromium"_s).isEmpty());
    APP_TRY_VERIFY(windows().filter(u"Chromium"_s).isEmpty());
}

// A browser that the user starts shows none, which proves that our start makes the difference.
void tst_DesktopBrowser::aBrowserThatWeStartShowsItsPage()
{
    closeEverything();
    const QString address = m_server->url(u"/one"_s).toString();
    const QString title = u"Chromium Web Browser — First page - Chromium"_s;
    QProcess &byTheUser = m_desktop->start(u"sh"_s, {u"-c"_s, m_startByHand + u' ' + address});
    APP_TRY_COMPARE(frontWindow(), title);
    APP_TRY_VERIFY(readUI().contains(u"shows no controls: quit it and let Quillon open it"_s));
    QCOMPARE(outcome(u"quit_app"_s, {{u"app"_s, u"Chromium"_s}}).isEmpty(), false);
    APP_TRY_VERIFY(byTheUser.state() == QProcess::NotRunning);

    QCOMPARE(outcome(u"open_app"_s, {{u"app"_s, u"Chromium"_s}}),
             u"Chromium Web Browser is now frontmost."_s);
    open(u"/one"_s, u"First page"_s);
    QString told;
    APP_TRY_VERIFY((told = readUI()).contains(u"Link: Go on"_s));
    QVERIFY2(!told.contains(u"shows no controls"_s), qPrintable(told));
}

QTEST_GUILESS_MAIN(tst_DesktopBrowser)
#include "tst_DesktopBrowser.moc"
