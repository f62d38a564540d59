#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class tst_Web : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void addressesOpenInTheDefaultBrowser_data();
    void addressesOpenInTheDefaultBrowser();
    void reportsAnInvalidAddressAsGiven_data();
    void reportsAnInvalidAddressAsGiven();
    void queriesReachTheBrowserExactlyAsEncoded_data();
    void queriesReachTheBrowserExactlyAsEncoded();
    void anAddressOpensInTheNamedApplication();
    void aSearchOpensInTheNamedApplication();
    void neverOpensInAnotherApplication();
    void checksTheAddressBeforeTheApplication();
    void passesThePlatformsSentenceOn();
    void waitsForTheBrowser();

private:
    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<SeenPauses> m_pauses;
    FakeWorkspace *m_desk = nullptr;
};

void tst_Web::init()
{
    m_platform = std::make_unique<FakePlatform>();
    m_pauses = std::make_unique<SeenPauses>();
    m_desk = &m_platform->fakeWorkspace;
    m_desk->folders = {u"/a"_s};
    m_desk->installed[u"/a"_s] = {{{u"Brave Browser"_s}, u"/a/Brave Browser.app"_s}};
}

void tst_Web::cleanup()
{
    m_desk = nullptr;
    m_pauses.reset();
    m_platform.reset();
}

void tst_Web::addressesOpenInTheDefaultBrowser_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<QString>("host");
    QTest::newRow("bare host") << u"example.com"_s << "https://example.com"_ba << u"example.com"_s;
    QTest::newRow("padded") << u" example.com\n"_s << "https://example.com"_ba << u"example.com"_s;
    QTest::newRow("path") << u"example.com/a/b?c=d&e#f"_s << "https://example.com/a/b?c=d&e#f"_ba
                          << u"example.com"_s;
    QTest::newRow("scheme") << u"http://example.com:8080/x"_s << "http://example.com:8080/x"_ba
                            << u"example.com"_s;
    QTest::newRow("port without scheme")
        << u"localhost:3000"_s << "https://localhost:3000"_ba << u"localhost"_s;
    QTest::newRow("empty port") << u"example.com:/x"_s << "https://example.com/x"_ba
                                << u"example.com"_s;
    QTest::newRow("upper case") << u"Example.COM/A"_s << "https://example.com/A"_ba
                                << u"Example.COM"_s;
    QTest::newRow("user") << u"https://me:pw@Example.com:1/"_s << "https://me:pw@example.com:1/"_ba
                          << u"Example.com"_s;
    QTest::newRow("spaces after the host")
        << u"example.com/a b?c d#e f"_s << "https://example.com/a%20b?c%20d#e%20f"_ba
        << u"example.com"_s;
    QTest::newRow("line break after the host")
        << u"example.com/a\nb"_s << "https://example.com/a%0Ab"_ba << u"example.com"_s;
    QTest::newRow("percent sign") << u"example.com/100% sure"_s
                                  << "https://example.com/100%25%20sure"_ba << u"example.com"_s;
    QTest::newRow("encoded already")
        << u"example.com/a%20b"_s << "https://example.com/a%20b"_ba << u"example.com"_s;
    QTest::newRow("international")
        << u"münchen.de/straße"_s << "https://xn--mnchen-3ya.de/stra%C3%9Fe"_ba << u"münchen.de"_s;
    QTest::newRow("numbers, version 4")
        << u"http://127.0.0.1:80/"_s << "http://127.0.0.1:80/"_ba << u"127.0.0.1"_s;
    QTest::newRow("numbers, version 6")
        << u"http://[::1]:80/"_s << "http://[::1]:80/"_ba << u"::1"_s;
    QTest::newRow("question first")
        << u"example.com?q=1"_s << "https://example.com?q=1"_ba << u"example.com"_s;
    QTest::newRow("at sign in the path")
        << u"example.com/@me:x"_s << "https://example.com/@me:x"_ba << u"example.com"_s;
    QTest::newRow("another scheme") << u"ftp://files.example.com/a"_s
                                    << "ftp://files.example.com/a"_ba << u"files.example.com"_s;
    QTest::newRow("settings") << u"x-apple.systempreferences://privacy"_s
                              << "x-apple.systempreferences://privacy"_ba << u"privacy"_s;
}

void tst_Web::addressesOpenInTheDefaultBrowser()
{
    QFETCH(const QString, text);
    QFETCH(const QByteArray, address);
    QFETCH(const QString, host);
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, text}}),
             u"Opened "_s + host + u" in the default browser."_s);
    QCOMPARE(m_desk->opened.size(), 1);
    QCOMPARE(m_desk->opened.constFirst().toEncoded(), address);
    QVERIFY(m_desk->openedWith.isEmpty());
    QCOMPARE(m_pauses->durations, QList<std::chrono::milliseconds>{1200ms});
}

void tst_Web::reportsAnInvalidAddressAsGiven_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text : {"not a url",
                             "a b.com",
                             "https://",
                             "https:///path",
                             "file:///etc/passwd",
                             "file://localhost/etc/passwd",
                             "FILE://LOCALHOST/etc/passwd",
                             "file://127.0.0.1/etc/passwd",
                             "file://[::1]/etc/passwd",
                             "file://me@localhost/etc/passwd",
                             "file://example.com/etc/passwd",
                             "ssh://-oProxyCommand=touch%20x",
                             "ssh://-oProxyCommand=x@example.com",
                             "ssh://me@-oProxyCommand=x",
                             "ssh://%2DoProxyCommand=x",
                             "ssh://%2doProxyCommand=x@example.com",
                             "ssh://-l:pw@example.com",
                             "sftp://-F.example.com/",
                             "telnet://-oX",
                             "https://-example.com",
                             "-example.com",
                             "ssh://\uff0doProxyCommand",
                             "ssh://a@b@-oProxyCommand",
                             "http://:80",
                             "https://me@/x",
                             "example.com:port",
                             "example.com:99999",
                             "example.com:8 0",
                             "mailto:a",
                             "a\tb.com",
                             "a\nb.com",
                             "exa%20mple.com",
                             "exa%0Ample.com",
                             "a\x01.com",
                             "a\x7f.com",
                             "foo bar://example.com",
                             "1http://example.com",
                             "://example.com",
                             "example.com?next=http://other.com",
                             "a..com",
                             "/",
                             "?"})
        QTest::newRow(text) << QString::fromUtf8(text);
}

void tst_Web::reportsAnInvalidAddressAsGiven()
{
    QFETCH(const QString, text);
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, text}}),
             u"ActionError: “"_s + text + u"” isn't a valid address."_s);
    QVERIFY(m_desk->opened.isEmpty());
    QVERIFY(m_pauses->durations.isEmpty());
}

void tst_Web::queriesReachTheBrowserExactlyAsEncoded_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<QByteArray>("encoded");
    QTest::newRow("words") << u"MacBook Air"_s << "MacBook%20Air"_ba;
    QTest::newRow("ampersand") << u"a&b c"_s << "a&b%20c"_ba;
    QTest::newRow("signs that stay") << u"-._~!$&'()*+,;=:@/?"_s << "-._~!$&'()*+,;=:@/?"_ba;
    QTest::newRow("letters and digits")
        << u"abcxyzABCXYZ0123456789"_s << "abcxyzABCXYZ0123456789"_ba;
    QTest::newRow("signs that do not stay")
        << u"\"#%<>[\\]^`{|}"_s << "%22%23%25%3C%3E%5B%5C%5D%5E%60%7B%7C%7D"_ba;
    QTest::newRow("control characters") << u"a\tb\nc\x7f"
                                           "d"_s
                                        << "a%09b%0Ac%7Fd"_ba;
    QTest::newRow("encoded already") << u"a%20b%2B"_s << "a%2520b%252B"_ba;
    QTest::newRow("accents") << u"café"_s << "caf%C3%A9"_ba;
    QTest::newRow("emoji") << u"日本 😀"_s << "%E6%97%A5%E6%9C%AC%20%F0%9F%98%80"_ba;
    QTest::newRow("an address") << u"https://a.com/?b=c"_s << "https://a.com/?b=c"_ba;
}

void tst_Web::queriesReachTheBrowserExactlyAsEncoded()
{
    QFETCH(const QString, query);
    QFETCH(const QByteArray, encoded);
    QCOMPARE(outcome(u"web_search"_s, {{u"query"_s, query}}),
             u"Opened www.google.com in the default browser."_s);
    QCOMPARE(m_desk->opened.size(), 1);
    QCOMPARE(m_desk->opened.constFirst().toEncoded(), "https://www.google.com/search?q=" + encoded);
    QCOMPARE(m_pauses->durations, QList<std::chrono::milliseconds>{1200ms});
}

void tst_Web::anAddressOpensInTheNamedApplication()
{
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com/a"_s}, {u"app"_s, u" brave"_s}}),
             u"Opened example.com in Brave Browser."_s);
    QCOMPARE(m_desk->openedWith.size(), 1);
    QCOMPARE(m_desk->openedWith.constFirst().first.toEncoded(), "https://example.com/a"_ba);
    QCOMPARE(m_desk->openedWith.constFirst().second, u"/a/Brave Browser.app"_s);
    QVERIFY(m_desk->opened.isEmpty());
    QCOMPARE(m_pauses->durations, QList<std::chrono::milliseconds>{1200ms});
}

void tst_Web::aSearchOpensInTheNamedApplication()
{
    QCOMPARE(outcome(u"web_search"_s, {{u"query"_s, u"a b"_s}, {u"app"_s, u"brave"_s}}),
             u"Opened www.google.com in Brave Browser."_s);
    QCOMPARE(m_desk->openedWith.constFirst().first.toEncoded(),
             "https://www.google.com/search?q=a%20b"_ba);
}

void tst_Web::neverOpensInAnotherApplication()
{
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com"_s}, {u"app"_s, u"Chess"_s}}),
             u"ActionError: Couldn't find an app called “Chess”."_s);
    QCOMPARE(outcome(u"web_search"_s, {{u"query"_s, u"x"_s}, {u"app"_s, u"Chess"_s}}),
             u"ActionError: Couldn't find an app called “Chess”."_s);
    QVERIFY(m_desk->opened.isEmpty() && m_desk->openedWith.isEmpty());
    // A blank application counts as missing.
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com"_s}, {u"app"_s, u"  "_s}}),
             u"Opened example.com in the default browser."_s);
}

void tst_Web::checksTheAddressBeforeTheApplication()
{
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"not a url"_s}, {u"app"_s, u"Chess"_s}}),
             u"ActionError: “not a url” isn't a valid address."_s);
}

void tst_Web::passesThePlatformsSentenceOn()
{
    m_desk->failure = u"No browser — é."_s;
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com"_s}}),
             u"PlatformError: No browser — é."_s);
    QCOMPARE(outcome(u"open_url"_s, {{u"url"_s, u"example.com"_s}, {u"app"_s, u"brave"_s}}),
             u"PlatformError: No browser — é."_s);
    QVERIFY(m_pauses->durations.isEmpty());
}

void tst_Web::waitsForTheBrowser()
{
    m_desk->holdsRequests = true;
    QCoro::Task<QString> task =
        Executor::run(action(u"open_url"_s, {{u"url"_s, u"example.com"_s}}));
    QCoreApplication::processEvents();
    QVERIFY(!task.isReady());
    QVERIFY(m_pauses->durations.isEmpty());
    m_desk->finishRequests();
    QCOMPARE(outcome(std::move(task)), u"Opened example.com in the default browser."_s);
    QCOMPARE(m_pauses->durations.size(), 1);
}

QTEST_GUILESS_MAIN(tst_Web)
#include "tst_Web.moc"
