#include "platform/macos/ApplicationBundles.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

class tst_ApplicationBundles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void foldersHaveTheirOrder();
    void bundlesEndInApp();
    void anUnreadableFolderHasNone();
    void namesHaveNoExtension_data();
    void namesHaveNoExtension();
    void emptyPropertiesAreAbsent();
    void policiesAreConverted();
};

void tst_ApplicationBundles::foldersHaveTheirOrder()
{
    qputenv("HOME", "/home/me");
    QCOMPARE(ApplicationBundles::folders(),
             (QStringList{u"/Applications"_s, u"/System/Applications"_s,
                          u"/System/Applications/Utilities"_s, u"/Applications/Utilities"_s,
                          u"/home/me/Applications"_s}));
}

void tst_ApplicationBundles::bundlesEndInApp()
{
    const QTemporaryDir folder;
    for (const QString &entry : {u"Safari.app"_s, u"Two.Dots.app"_s, u"Upper.APP"_s, u"Readme"_s,
                                 u".Hidden.app"_s, u"Utilities"_s})
        QVERIFY(QDir(folder.path()).mkpath(entry));
    QList<InstalledApplication> found = ApplicationBundles::in(folder.path());
    std::ranges::sort(found, {}, &InstalledApplication::location);
    QCOMPARE(found,
             (QList<InstalledApplication>{{{u".Hidden"_s}, folder.filePath(u".Hidden.app"_s)},
                                          {{u"Safari"_s}, folder.filePath(u"Safari.app"_s)},
                                          {{u"Two.Dots"_s}, folder.filePath(u"Two.Dots.app"_s)}}));
}

void tst_ApplicationBundles::anUnreadableFolderHasNone()
{
    QVERIFY(ApplicationBundles::in(u"/nowhere/at/all"_s).isEmpty());
}

void tst_ApplicationBundles::namesHaveNoExtension_data()
{
    QTest::addColumn<QString>("location");
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << u"/Applications/Safari.app"_s << u"Safari"_s;
    QTest::newRow("dots") << u"/Applications/Two.Dots.app"_s << u"Two.Dots"_s;
    QTest::newRow("slash") << u"/Applications/Safari.app/"_s << u"Safari"_s;
    QTest::newRow("spaces") << u"/A b/Google Chrome.app"_s << u"Google Chrome"_s;
}

void tst_ApplicationBundles::namesHaveNoExtension()
{
    QFETCH(const QString, location);
    QFETCH(const QString, name);
    QCOMPARE(ApplicationBundles::name(location), name);
}

void tst_ApplicationBundles::emptyPropertiesAreAbsent()
{
    const Application nameless = ApplicationBundles::running(7, {}, 0, {});
    QCOMPARE(nameless.pid, ProcessId{7});
    QCOMPARE(nameless.name, std::nullopt);
    QCOMPARE(nameless.location, std::nullopt);
    const Application named = ApplicationBundles::running(7, u"a"_s, 0, u"/a.app"_s);
    QCOMPARE(named.name, u"a"_s);
    QCOMPARE(named.location, u"/a.app"_s);
}

void tst_ApplicationBundles::policiesAreConverted()
{
    const auto policy = [](long number) {
        return ApplicationBundles::running(7, {}, number, {}).policy;
    };
    QCOMPARE(policy(0), ActivationPolicy::regular);
    QCOMPARE(policy(1), ActivationPolicy::accessory);
    QCOMPARE(policy(2), ActivationPolicy::background);
}

QTEST_APPLESS_MAIN(tst_ApplicationBundles)
#include "tst_ApplicationBundles.moc"
