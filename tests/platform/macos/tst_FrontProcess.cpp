#include "FakeCoreFoundation.h"
#include "platform/macos/FrontProcess.h"
#include "platform/macos/MacScreen.h"

#include <QTest>

using namespace Qt::StringLiterals;
namespace Fake = FakeCoreFoundation;

namespace {
constexpr qint64 everything = -1;
constexpr ProcessId editor{500};
constexpr ProcessId mail{501};

CFTypeRef window(qint64 layer, ProcessId owner)
{
    return Fake::makeDictionary({{kCGWindowLayer, Fake::makeNumber(layer)},
                                 {kCGWindowOwnerPID, Fake::makeNumber(qint64(owner))}});
}

// Sets the system's answer for the focused application: a value, an error, or both.
void answer(AXError error, const std::function<CFTypeRef()> &value)
{
    Fake::attributeValues = [=](qint64 element, const QStringList &names,
                                QList<CFTypeRef> &values) {
        if (element != everything || names != QStringList{u"AXFocusedApplication"_s})
            qFatal("It asked for something else.");
        if (value)
            values.append(value());
        return error;
    };
}
} // namespace

class tst_FrontProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void findsTheProcessOfTheFocusedApplication();
    void usesAShortTimeout();
    void usesTheWorkspaceWithoutAnAnswer_data();
    void usesTheWorkspaceWithoutAnAnswer();
    void otherwiseUsesTheTopmostNormalWindow();
    void withoutWindowsThereIsNone();
};

void tst_FrontProcess::init()
{
    Fake::processOf = [](qint64 element) { return static_cast<pid_t>(element); };
    Fake::windowList = [](CGWindowListOption, CGWindowID) {
        return Fake::makeArray({window(25, mail), Fake::makeDictionary({}), window(0, editor)});
    };
    Fake::messagingTimeout = 0;
}

void tst_FrontProcess::cleanup()
{
    Fake::attributeValues = nullptr;
    Fake::processOf = nullptr;
    Fake::windowList = nullptr;
    QCOMPARE(Fake::livingObjects(), 0);
}

void tst_FrontProcess::findsTheProcessOfTheFocusedApplication()
{
    MacScreen screen;
    answer(kAXErrorSuccess, [] { return Fake::makeElement(qint64(mail)); });
    QCOMPARE(FrontProcess::find(std::nullopt, screen), mail);
    // NSWorkspace's answer may be outdated.
    QCOMPARE(FrontProcess::find(editor, screen), mail);
}

void tst_FrontProcess::usesAShortTimeout()
{
    MacScreen screen;
    answer(kAXErrorSuccess, [] { return Fake::makeElement(qint64(mail)); });
    (void)FrontProcess::find(std::nullopt, screen);
    QCOMPARE(Fake::messagingTimeout, 0.7F);
}

void tst_FrontProcess::usesTheWorkspaceWithoutAnAnswer_data()
{
    using Maker = std::function<CFTypeRef()>;
    QTest::addColumn<AXError>("error");
    QTest::addColumn<Maker>("value");
    QTest::newRow("not trusted") << kAXErrorFailure << Maker();
    QTest::newRow("hung") << kAXErrorCannotComplete << Maker();
    QTest::newRow("nothing") << kAXErrorSuccess << Maker();
    QTest::newRow("no element") << kAXErrorSuccess
                                << Maker([] { return Fake::makeString(u"Mail"_s); });
    QTest::newRow("no process") << kAXErrorSuccess << Maker([] { return Fake::makeElement(0); });
    QTest::newRow("both") << kAXErrorFailure << Maker([] { return Fake::makeElement(1); });
}

void tst_FrontProcess::usesTheWorkspaceWithoutAnAnswer()
{
    QFETCH(const AXError, error);
    QFETCH(const std::function<CFTypeRef()>, value);
    answer(error, value);
    MacScreen screen;
    QCOMPARE(FrontProcess::find(mail, screen), mail);
}

void tst_FrontProcess::otherwiseUsesTheTopmostNormalWindow()
{
    answer(kAXErrorFailure, nullptr);
    MacScreen screen;
    QCOMPARE(FrontProcess::find(std::nullopt, screen), editor);
}

void tst_FrontProcess::withoutWindowsThereIsNone()
{
    answer(kAXErrorFailure, nullptr);
    MacScreen screen;
    Fake::windowList = [](CGWindowListOption, CGWindowID) { return Fake::makeArray({}); };
    QCOMPARE(FrontProcess::find(std::nullopt, screen), std::nullopt);
    Fake::windowList = [](CGWindowListOption, CGWindowID) -> CFTypeRef { return nullptr; };
    QCOMPARE(FrontProcess::find(std::nullopt, screen), std::nullopt);
}

QTEST_APPLESS_MAIN(tst_FrontProcess)
#include "tst_FrontProcess.moc"
