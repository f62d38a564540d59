#include "platform/CoreApplication.h"

#include <QCoreApplication>
#include <QTest>

namespace {
constexpr auto loopSwitch = "QT_EVENT_DISPATCHER_CORE_FOUNDATION";
QByteArray s_switchAtStart;

// Runs while the application object is created, when its event dispatcher is chosen.
void noteSwitch()
{
    s_switchAtStart = qgetenv(loopSwitch);
}
Q_COREAPP_STARTUP_FUNCTION(noteSwitch)
} // namespace

class tst_MacCoreApplication : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void usesTheSystemsEventLoop();
    void childrenDoNotInheritIt();
};

void tst_MacCoreApplication::usesTheSystemsEventLoop()
{
    QCOMPARE(s_switchAtStart, QByteArray("1"));
}

void tst_MacCoreApplication::childrenDoNotInheritIt()
{
    QVERIFY(!qEnvironmentVariableIsSet(loopSwitch));
}

int main(int argc, char *argv[])
{
    qputenv(loopSwitch, "0");
    const std::unique_ptr<QCoreApplication> application(makeCoreApplication(argc, argv));
    tst_MacCoreApplication test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_MacCoreApplication.moc"
