#include "app/Autostart.h"
#include "platform/PlatformError.h"
#include "tests/support/FakePlatform.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_Autostart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theDesktopsFileIsWrittenAndRemoved();
    void anOlderFileIsReplaced();
    void switchingOffTwiceIsFine();
    void whatCannotBeWrittenIsSaid();

private:
    [[nodiscard]] QByteArray content() const;

    QTemporaryDir m_home;
    FakePlatform m_platform;
};

QByteArray tst_Autostart::content() const
{
    QFile file(m_platform.fakeInstance.loginFile);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "(no file)"_ba;
}

void tst_Autostart::theDesktopsFileIsWrittenAndRemoved()
{
    m_platform.fakeInstance.loginFile = m_home.filePath(u"config/autostart/quillon"_s);
    Autostart::set(Autostart::Switch::on);
    QCOMPARE(content(), QCoreApplication::applicationFilePath().toUtf8() + " --background");
    Autostart::set(Autostart::Switch::off);
    QVERIFY(!QFile::exists(m_platform.fakeInstance.loginFile));
}

void tst_Autostart::anOlderFileIsReplaced()
{
    m_platform.fakeInstance.loginFile = m_home.filePath(u"older"_s);
    QFile file(m_platform.fakeInstance.loginFile);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("another program");
    file.close();
    Autostart::set(Autostart::Switch::on);
    QVERIFY(content().endsWith(" --background"));
}

void tst_Autostart::switchingOffTwiceIsFine()
{
    m_platform.fakeInstance.loginFile = m_home.filePath(u"none"_s);
    Autostart::set(Autostart::Switch::off);
    Autostart::set(Autostart::Switch::off);
    QVERIFY(!QFile::exists(m_platform.fakeInstance.loginFile));
}

void tst_Autostart::whatCannotBeWrittenIsSaid()
{
    // There is a file at the folder's path.
    QFile file(m_home.filePath(u"file"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    m_platform.fakeInstance.loginFile = m_home.filePath(u"file/quillon"_s);
    try {
        Autostart::set(Autostart::Switch::on);
        QFAIL("It has not failed.");
    } catch (const PlatformError &error) {
        const QString sentence = QString::fromUtf8(error.what());
        QVERIFY2(sentence.startsWith(
                     u"“%1” could not be changed: "_s.arg(m_platform.fakeInstance.loginFile)),
                 qPrintable(sentence));
    }
}

QTEST_GUILESS_MAIN(tst_Autostart)
#include "tst_Autostart.moc"
