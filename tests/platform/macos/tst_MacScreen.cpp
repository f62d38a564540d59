#include "FakeCoreFoundation.h"
#include "platform/macos/MacScreen.h"

#include <QTest>

using namespace Qt::StringLiterals;
namespace Fake = FakeCoreFoundation;

class tst_MacScreen : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void queriesNormalWindowsOnTheScreen();
    void reportsAnUnavailableList();
    void windowsHaveTheOrderOfTheList();
    void missingValuesAreAbsent();
    void valuesOfAnotherTypeAreAbsent();
    void invalidDescriptionsAreSkipped();
    void withoutThePermissionItIsRequestedAndNothingIsCaptured();
};

void tst_MacScreen::cleanup()
{
    Fake::windowList = nullptr;
    QCOMPARE(Fake::livingObjects(), 0);
}

void tst_MacScreen::queriesNormalWindowsOnTheScreen()
{
    CGWindowListOption asked = 0;
    CGWindowID relativeTo = 1;
    Fake::windowList = [&](CGWindowListOption option, CGWindowID window) {
        asked = option;
        relativeTo = window;
        return Fake::makeArray({});
    };
    QCOMPARE(MacScreen().windows(), QList<WindowInfo>());
    QCOMPARE(asked, 17U);
    QCOMPARE(relativeTo, 0U);
}

void tst_MacScreen::reportsAnUnavailableList()
{
    Fake::windowList = [](CGWindowListOption, CGWindowID) -> CFTypeRef { return nullptr; };
    QCOMPARE(MacScreen().windows(), std::nullopt);
}

void tst_MacScreen::windowsHaveTheOrderOfTheList()
{
    Fake::windowList = [](CGWindowListOption, CGWindowID) {
        return Fake::makeArray(
            {Fake::makeDictionary({{kCGWindowLayer, Fake::makeNumber(0)},
                                   {kCGWindowOwnerPID, Fake::makeNumber(4711)},
                                   {kCGWindowOwnerName, Fake::makeString(u"Safari"_s)},
                                   {kCGWindowName, Fake::makeString(u"Äpple 😀"_s)}}),
             Fake::makeDictionary({{kCGWindowLayer, Fake::makeNumber(-20)},
                                   {kCGWindowOwnerPID, Fake::makeNumber(2)},
                                   {kCGWindowOwnerName, Fake::makeString(u""_s)},
                                   {kCGWindowName, Fake::makeString(u""_s)}})});
    };
    const QList<WindowInfo> expected{{0, ProcessId{4711}, u"Safari"_s, u"Äpple 😀"_s},
                                     {-20, ProcessId{2}, u""_s, u""_s}};
    QCOMPARE(MacScreen().windows(), expected);
}

void tst_MacScreen::missingValuesAreAbsent()
{
    Fake::windowList = [](CGWindowListOption, CGWindowID) {
        return Fake::makeArray({Fake::makeDictionary({})});
    };
    QCOMPARE(MacScreen().windows(), QList<WindowInfo>{WindowInfo()});
}

void tst_MacScreen::valuesOfAnotherTypeAreAbsent()
{
    Fake::windowList = [](CGWindowListOption, CGWindowID) {
        return Fake::makeArray(
            {Fake::makeDictionary({{kCGWindowLayer, Fake::makeString(u"0"_s)},
                                   {kCGWindowOwnerPID, Fake::makeArray({Fake::makeNumber(1)})},
                                   {kCGWindowOwnerName, Fake::makeNumber(5)},
                                   {kCGWindowName, Fake::makeDictionary({})}}),
             Fake::makeDictionary({{kCGWindowLayer, Fake::makeFraction(0.5)}})});
    };
    QCOMPARE(MacScreen().windows(), (QList<WindowInfo>{WindowInfo(), WindowInfo()}));
}

void tst_MacScreen::invalidDescriptionsAreSkipped()
{
    Fake::windowList = [](CGWindowListOption, CGWindowID) {
        return Fake::makeArray(
            {Fake::makeString(u"window"_s),
             Fake::makeDictionary({{kCGWindowOwnerName, Fake::makeString(u"Notes"_s)}}),
             Fake::makeNumber(3)});
    };
    const std::optional<QList<WindowInfo>> windows = MacScreen().windows();
    QCOMPARE(windows->size(), 1);
    QCOMPARE(windows->constFirst().ownerName, u"Notes"_s);
}

void tst_MacScreen::withoutThePermissionItIsRequestedAndNothingIsCaptured()
{
    Fake::mayCaptureScreen = false;
    Fake::capturePrompts = 0;
    // If the tool were started, the future would finish later.
    QFuture<void> future = MacScreen().capture("/nowhere/a.png");
    QVERIFY(future.isFinished());
    future.waitForFinished(); // would throw; only the missing file tells the failure
    QCOMPARE(Fake::capturePrompts, 1);
    Fake::mayCaptureScreen = true;
}

QTEST_APPLESS_MAIN(tst_MacScreen)
#include "tst_MacScreen.moc"
