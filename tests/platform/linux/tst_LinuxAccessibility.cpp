#include "platform/Accessibility.h"
#include "platform/Platform.h"
#include "tests/support/VirtualDesktop.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
Accessibility &accessibility()
{
    return Platform::current().accessibility();
}
} // namespace

class tst_LinuxAccessibility : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void withoutASessionNobodyIsTrusted();
    void askingEnablesTheBus();

private:
    std::unique_ptr<VirtualDesktop> m_desktop;
};

void tst_LinuxAccessibility::initTestCase()
{
    m_desktop = std::make_unique<VirtualDesktop>();
}

void tst_LinuxAccessibility::withoutASessionNobodyIsTrusted()
{
    for (const char *address : {"", "unix:path=/nowhere", "no address at all"}) {
        const QByteArray session = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        accessibility().requestTrust();
        const bool trusted = accessibility().isTrusted();
        qputenv("DBUS_SESSION_BUS_ADDRESS", session);
        QVERIFY2(!trusted, address);
    }
}

void tst_LinuxAccessibility::askingEnablesTheBus()
{
    QVERIFY(!accessibility().isTrusted());
    accessibility().requestTrust();
    QTRY_VERIFY(accessibility().isTrusted());
}

QTEST_GUILESS_MAIN(tst_LinuxAccessibility)
#include "tst_LinuxAccessibility.moc"
