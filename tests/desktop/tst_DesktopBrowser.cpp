#include "tests/desktop/Desktop.h"
#include "tests/support/HttpServer.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>

using namespace Qt::StringLiterals;

namespace {
// A page with that title.
HttpServer::Answer page(const QByteArray &title, const QByteArray &body)
{
    return {.body = "<!DOCTYPE html><html lang=en><head><meta charset=utf-8><title>" + title +
                    "</title></head><body>" + body + "</body></html>",
            .headers = {"Content-Type: text/html; charset=utf-8"}};
}

QSslConfiguration loopbackTls()
{
    const QString folder = QStringLiteral(QUILLON_TEST_SUPPORT "/tls/");
    QFile key(folder + u"loopback-key.pem"_s);
    if (!key.open(QIODevice::ReadOnly))
        qFatal("%s cannot be read.", qPrintable(key.fileName()));
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setLocalCertificateChain(QSslCertificate::fromPath(folder + u"loopback-certificate.pem"_s));
    tls.setPrivateKey(QSslKey(&key, QSsl::Rsa));
    return tls;
}
} // namespace

// Chromium, and pages that this test serves.
class tst_DesktopBrowser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void anAddressOpensInTheDefaultBrowser();
    void anAddressOpensInTheNamedBrowserThatRuns();
    void aSearchReachesTheEngineAsItWasMeant();
    void theStockBrowserMeansThisOne();

private:
    // The paths that were asked for, without what browsers ask for by themselves.
    [[nodiscard]] QList<QByteArray> asked(const HttpServer &server) const
    {
        QList<QByteArray> paths;
        for (const HttpServer::Request &request : server.requests()) {
            if (request.path != "/favicon.ico")
                paths.append(request.path);
        }
        return paths;
    }

    [[nodiscard]] QString frontWindow() const { return windows().constFirst(); }

    std::unique_ptr<VirtualDesktop> m_desktop;
    std::unique_ptr<HttpServer> m_server;
    std::unique_ptr<HttpServer> m_engine; ///< In place of the search engine.
};

void tst_DesktopBrowser::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    m_desktop->enableAccessibility();
    m_server = std::make_unique<HttpServer>();
    m_engine = std::make_unique<HttpServer>(loopbackTls());
    m_server->setAnswer(u"/one"_s, page("First page", "<h1>One</h1><a href=/two>Go on</a>"));
    m_server->setAnswer(u"/two"_s, page("Second page", "<h1>Two</h1>"));
    m_engine->setAnswer(u"/search?q=a&b%20c%20%C3%A9"_s, page("Results", "<h1>Found</h1>"));

    m_desktop->install(u"debian-xterm.desktop"_s);
    m_desktop->install(u"chromium.desktop"_s,
                       {u"x-scheme-handler/http"_s, u"x-scheme-handler/https"_s, u"text/html"_s});
    // As it is, but for what it lacks here: a sandbox, a graphics card, and the world's web.
    QFile entry(u"/usr/share/applications/chromium.desktop"_s);
    QVERIFY(entry.open(QIODevice::ReadOnly));
    const QByteArray options =
        " --no-sandbox --disable-gpu --disable-dev-shm-usage --password-store=basic --no-first-run"
        " --no-default-browser-check --no-proxy-server --force-renderer-accessibility"
        " --ignore-certificate-errors \"--host-resolver-rules=MAP www.google.com:443 127.0.0.1:" +
        QByteArray::number(m_engine->url({}).port()) + ", EXCLUDE localhost\"";
    QByteArray content = entry.readAll();
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

QTEST_GUILESS_MAIN(tst_DesktopBrowser)
#include "tst_DesktopBrowser.moc"
