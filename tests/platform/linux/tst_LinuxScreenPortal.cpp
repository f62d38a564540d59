#include "tests/executor/Running.h"
#include "tests/support/VirtualDesktop.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QTest>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {
const QString failed =
    u"ActionError: The screenshot failed. Screen Recording permission may be required."_s;

// A fake portal: responds with its own file, or as the test sets.
class FakePortal final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Screenshot")

public:
    FakePortal() : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"portal"_s))
    {
        m_bus.registerObject(u"/org/freedesktop/portal/desktop"_s, this,
                             QDBusConnection::ExportAllSlots);
        m_bus.registerService(u"org.freedesktop.portal.Desktop"_s);
    }

    ~FakePortal() override { QDBusConnection::disconnectFromBus(u"portal"_s); }

    uint code = 0;
    QUrl picture;
    QUrl forged; ///< The response of another process, which arrives first.
    bool fails = false;
    bool isHasty = false; ///< Responds before it has returned the request's path.
    int requests = 0;
    QVariantMap options; ///< of the last request

public Q_SLOTS:
    QDBusObjectPath Screenshot(const QString &parent, const QVariantMap &given,
                               const QDBusMessage &message)
    {
        Q_UNUSED(parent)
        ++requests;
        options = given;
        if (fails) {
            message.setDelayedReply(true);
            m_bus.send(message.createErrorReply(QDBusError::NotSupported, u"no"_s));
            return {};
        }
        const QString path = u"/org/freedesktop/portal/desktop/request/"_s +
                             message.service().mid(1).replace(u'.', u'_') + u'/' +
                             given.value(u"handle_token"_s).toString();
        if (isHasty)
            answer(path);
        else
            QMetaObject::invokeMethod(this, [this, path] { answer(path); }, Qt::QueuedConnection);
        return QDBusObjectPath(path);
    }

private:
    void answer(const QString &path)
    {
        if (!forged.isEmpty()) {
            const QDBusConnection other =
                QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"forger"_s);
            other.send(response(path, 0, forged));
            // Makes sure that it is sent before anything else.
            QVERIFY(other.interface()->isServiceRegistered(u"org.freedesktop.DBus"_s));
            QDBusConnection::disconnectFromBus(u"forger"_s);
        }
        m_bus.send(response(path, code, picture));
    }

    [[nodiscard]] static QDBusMessage response(const QString &path, uint code, const QUrl &picture)
    {
        QDBusMessage signal =
            QDBusMessage::createSignal(path, u"org.freedesktop.portal.Request"_s, u"Response"_s);
        signal << code << QVariantMap{{u"uri"_s, picture.toString(QUrl::FullyEncoded)}};
        return signal;
    }

    QDBusConnection m_bus;
};
} // namespace

// An environment like that of a Wayland session.
class tst_LinuxScreenPortal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void thePortalTakesThePicture_data();
    void thePortalTakesThePicture();
    void aPortalThatDoesNotDeliverHasFailed_data();
    void aPortalThatDoesNotDeliverHasFailed();
    void ignoresTheAnswersOfOtherPrograms();
    void withoutAPortalItHasFailed();
    void aPortalsPictureThatCannotBeSavedIsToldAndKept();

private:
    [[nodiscard]] QStringList downloads() const
    {
        return QDir(m_desktop->home(u"Downloads"_s))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_LinuxScreenPortal::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
    qputenv("WAYLAND_DISPLAY", "wayland-0");
}

void tst_LinuxScreenPortal::init()
{
    QDir(m_desktop->home(u"Downloads"_s)).removeRecursively();
    QVERIFY(QDir(m_desktop->home()).mkdir(u"Downloads"_s));
}

void tst_LinuxScreenPortal::thePortalTakesThePicture_data()
{
    QTest::addColumn<bool>("isHasty");
    QTest::newRow("later") << false;
    QTest::newRow("at once") << true;
}

void tst_LinuxScreenPortal::thePortalTakesThePicture()
{
    QFETCH(const bool, isHasty);
    FakePortal portal;
    portal.isHasty = isHasty;
    QImage image(3, 2, QImage::Format_RGB888);
    image.fill(Qt::red);
    const QString own = m_desktop->home(u"Bild ä #1.png"_s);
    QVERIFY(image.save(own, "PNG"));
    portal.picture = QUrl::fromLocalFile(own);

    const QString told = outcome(u"screenshot"_s);
    QVERIFY2(told.startsWith(u"Saved screenshot to "_s), qPrintable(told));
    QCOMPARE(downloads().size(), 1);
    const QImage saved(m_desktop->home(u"Downloads/"_s + downloads().constFirst()), "PNG");
    QCOMPARE(saved.convertToFormat(QImage::Format_RGB888), image);
    QVERIFY(!QFile::exists(own));
    QVERIFY(!portal.options.value(u"interactive"_s).toBool());
}

void tst_LinuxScreenPortal::aPortalThatDoesNotDeliverHasFailed_data()
{
    QTest::addColumn<uint>("code");
    QTest::addColumn<bool>("fails");
    QTest::addColumn<QString>("picture");
    QTest::newRow("the user declined") << 1U << false << u"file:///dev/null"_s;
    QTest::newRow("cannot") << 2U << false << QString();
    QTest::newRow("no such call") << 0U << true << QString();
    QTest::newRow("no address") << 0U << false << QString();
    QTest::newRow("a file that is not there") << 0U << false << u"file:///nowhere/a.png"_s;
}

void tst_LinuxScreenPortal::aPortalThatDoesNotDeliverHasFailed()
{
    QFETCH(const uint, code);
    QFETCH(const bool, fails);
    QFETCH(const QString, picture);
    FakePortal portal;
    portal.code = code;
    portal.fails = fails;
    portal.picture = QUrl(picture);
    QCOMPARE(outcome(u"screenshot"_s), failed);
    QCOMPARE(portal.requests, 1);
    QCOMPARE(downloads(), QStringList());
}

void tst_LinuxScreenPortal::ignoresTheAnswersOfOtherPrograms()
{
    FakePortal portal;
    portal.code = 1;
    m_desktop->write(u"thesis.odt"_s, "years of work");
    portal.forged = QUrl::fromLocalFile(m_desktop->home(u"thesis.odt"_s));
    QCOMPARE(outcome(u"screenshot"_s), failed);
    QCOMPARE(downloads(), QStringList());
    QVERIFY(QFile::exists(m_desktop->home(u"thesis.odt"_s)));
}

void tst_LinuxScreenPortal::withoutAPortalItHasFailed()
{
    QCOMPARE(outcome(u"screenshot"_s), failed);
    QCOMPARE(downloads(), QStringList());
}

void tst_LinuxScreenPortal::aPortalsPictureThatCannotBeSavedIsToldAndKept()
{
    FakePortal portal;
    m_desktop->write(u"own.png"_s, "picture");
    portal.picture = QUrl::fromLocalFile(m_desktop->home(u"own.png"_s));
    QCOMPARE(outcome(u"screenshot"_s, {{u"folder"_s, u"Projects/new"_s}}),
             u"PlatformError: The file can't be saved: No such file or directory."_s);
    QVERIFY(QFile::exists(m_desktop->home(u"own.png"_s)));
}

QTEST_GUILESS_MAIN(tst_LinuxScreenPortal)
#include "tst_LinuxScreenPortal.moc"
