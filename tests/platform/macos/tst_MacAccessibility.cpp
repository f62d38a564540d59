#include "FakeCoreFoundation.h"
#include "platform/macos/MacAccessibility.h"

#include <QMap>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
namespace Fake = FakeCoreFoundation;

namespace {
constexpr pid_t application = 500;
constexpr pid_t helper = 501;

using Maker = std::function<CFTypeRef()>;

Maker text(const QString &string)
{
    return [string] { return Fake::makeString(string); };
}

Maker elements(const QList<qint64> &numbers)
{
    return [numbers] {
        QList<CFTypeRef> items;
        for (const qint64 number : numbers)
            items.append(Fake::makeElement(number));
        return Fake::makeArray(items);
    };
}

/// An application whose elements answer like the system's: an unknown attribute gets an error as
/// its value.
class FakeApplication
{
public:
    FakeApplication()
    {
        Fake::processOf = [this](qint64 element) {
            return helpersElements.contains(element) ? helper : application;
        };
        Fake::attributeValues = [this](qint64 element, const QStringList &names,
                                       QList<CFTypeRef> &values) {
            asked.append({element, names});
            if (errors.contains(element))
                return errors[element];
            for (const QString &name : names) {
                const Maker maker = attributes[element].value(name, &Fake::makeAttributeError);
                values.append(maker());
            }
            return kAXErrorSuccess;
        };
        Fake::performAction = [this](qint64 element, const QString &action) {
            performed.append({element, action});
            return actionErrors.value(element, kAXErrorSuccess);
        };
    }

    ~FakeApplication()
    {
        Fake::processOf = nullptr;
        Fake::attributeValues = nullptr;
        Fake::performAction = nullptr;
    }

    FakeApplication(const FakeApplication &) = delete;
    FakeApplication &operator=(const FakeApplication &) = delete;

    QMap<qint64, QMap<QString, Maker>> attributes;
    QMap<qint64, AXError> errors;
    QMap<qint64, AXError> actionErrors;
    QList<qint64> helpersElements;
    QList<std::pair<qint64, QStringList>> asked;
    QList<std::pair<qint64, QString>> performed;
};

std::unique_ptr<AccessibleTree> open(std::chrono::milliseconds limit = 1h)
{
    return MacAccessibility().open(ProcessId{application}, limit);
}

const QList<LabelAttribute> allTexts{LabelAttribute::title, LabelAttribute::description,
                                     LabelAttribute::value, LabelAttribute::help};
} // namespace

class tst_MacAccessibility : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void trustIsTheSystemsAnswer();
    void readingTheTrustDoesNotPrompt();
    void requestingShowsTheSystemsPrompt();

    void theRootIsTheApplication();
    void messagesHaveAShortTimeout();
    void anElementIsReadWithOneMessage();
    void childrenAreQueriedOnlyIfNeeded();
    void childrenBeyondTheLimitAreLeftOut();
    void valuesOfOtherTypesAreAbsent_data();
    void valuesOfOtherTypesAreAbsent();
    void missingValuesOfAShortAnswerAreEmpty();
    void aDestroyedElementIsEmpty();
    void textsHaveTheRequestedOrder();
    void aPasswordIsNotRead();
    void reportsAnApplicationThatDoesNotAnswer();
    void skipsAHungHelper();
    void queriesNothingWithoutTime();
    void accessibilityOfPagesIsEnabledOnce_data();
    void accessibilityOfPagesIsEnabledOnce();
    void aPressHasTheElementsResult_data();
    void aPressHasTheElementsResult();
};

void tst_MacAccessibility::init()
{
    Fake::trusted = true;
    Fake::trustPrompts = 0;
    Fake::messagingTimeout = 0;
}

void tst_MacAccessibility::cleanup()
{
    QCOMPARE(Fake::livingObjects(), 0);
}

void tst_MacAccessibility::trustIsTheSystemsAnswer()
{
    QVERIFY(MacAccessibility().isTrusted());
    Fake::trusted = false;
    QVERIFY(!MacAccessibility().isTrusted());
}

void tst_MacAccessibility::readingTheTrustDoesNotPrompt()
{
    Fake::trusted = false;
    (void)MacAccessibility().isTrusted();
    QCOMPARE(Fake::trustPrompts, 0);
}

void tst_MacAccessibility::requestingShowsTheSystemsPrompt()
{
    Fake::trusted = false;
    MacAccessibility().requestTrust();
    QCOMPARE(Fake::trustPrompts, 1);
}

void tst_MacAccessibility::theRootIsTheApplication()
{
    FakeApplication fake;
    fake.attributes[application][u"AXRole"_s] = text(u"AXApplication"_s);
    const auto tree = open();
    const QList<AccessibleNode> nodes = tree->nodes(tree->roots(), 10);
    QCOMPARE(nodes, QList{AccessibleNode{.role = u"AXApplication"_s}});
}

void tst_MacAccessibility::messagesHaveAShortTimeout()
{
    const FakeApplication fake;
    const auto tree = open();
    QCOMPARE(Fake::messagingTimeout, 0.7F);
}

void tst_MacAccessibility::anElementIsReadWithOneMessage()
{
    FakeApplication fake;
    fake.attributes[application] = {{u"AXRole"_s, text(u"AXApplication"_s)},
                                    {u"AXChildren"_s, elements({1, 2})}};
    fake.attributes[1] = {{u"AXRole"_s, text(u"AXWindow"_s)}, {u"AXChildren"_s, elements({3})}};
    fake.attributes[2][u"AXRole"_s] = text(u"AXMenuBar"_s);
    const auto tree = open();
    const QList<ElementId> windows = tree->nodes(tree->roots(), 10)[0].children;
    QCOMPARE(windows.size(), 2);
    const QList<AccessibleNode> nodes = tree->nodes(windows, 10);
    QCOMPARE(nodes[0].role, u"AXWindow"_s);
    QCOMPARE(nodes[0].children.size(), 1);
    QCOMPARE(nodes[1], AccessibleNode{.role = u"AXMenuBar"_s});
    const QStringList names{u"AXRole"_s, u"AXChildren"_s};
    QCOMPARE(fake.asked,
             (QList<std::pair<qint64, QStringList>>{{application, names}, {1, names}, {2, names}}));
}

void tst_MacAccessibility::childrenAreQueriedOnlyIfNeeded()
{
    FakeApplication fake;
    fake.attributes[application] = {{u"AXRole"_s, text(u"AXApplication"_s)},
                                    {u"AXChildren"_s, elements({1})}};
    const auto tree = open();
    QVERIFY(tree->nodes(tree->roots(), 0)[0].children.isEmpty());
    QCOMPARE(fake.asked[0].second, QStringList{u"AXRole"_s});
}

void tst_MacAccessibility::childrenBeyondTheLimitAreLeftOut()
{
    FakeApplication fake;
    fake.attributes[application][u"AXChildren"_s] = elements({1, 2, 3});
    const auto tree = open();
    const QList<ElementId> twice{ElementId{0}, ElementId{0}, ElementId{0}};
    const QList<AccessibleNode> nodes = tree->nodes(twice, 4);
    QCOMPARE(nodes[0].children.size(), 3);
    QCOMPARE(nodes[1].children.size(), 1);
    QCOMPARE(nodes[2].children.size(), 0);
}

void tst_MacAccessibility::valuesOfOtherTypesAreAbsent_data()
{
    QTest::addColumn<Maker>("role");
    QTest::addColumn<Maker>("children");
    QTest::addColumn<qsizetype>("count");
    QTest::newRow("numbers") << Maker([] { return Fake::makeNumber(1); })
                             << Maker([] { return Fake::makeNumber(1); }) << qsizetype(0);
    QTest::newRow("nothing") << Maker(&Fake::makeNull) << Maker(&Fake::makeNull) << qsizetype(0);
    QTest::newRow("errors") << Maker(&Fake::makeAttributeError) << Maker(&Fake::makeAttributeError)
                            << qsizetype(0);
    QTest::newRow("an element") << Maker([] { return Fake::makeElement(1); })
                                << Maker([] { return Fake::makeElement(1); }) << qsizetype(0);
    QTest::newRow("other things in a list")
        << Maker([] { return Fake::makeArray({}); }) << Maker([] {
               return Fake::makeArray({Fake::makeString(u"a"_s), Fake::makeElement(1),
                                       Fake::makeNull(), Fake::makeArray({Fake::makeElement(2)})});
           })
        << qsizetype(1);
}

void tst_MacAccessibility::valuesOfOtherTypesAreAbsent()
{
    QFETCH(const Maker, role);
    QFETCH(const Maker, children);
    QFETCH(const qsizetype, count);
    FakeApplication fake;
    for (const char *name : {"AXRole", "AXTitle", "AXDescription", "AXValue", "AXHelp"})
        fake.attributes[application][QString::fromLatin1(name)] = role;
    fake.attributes[application][u"AXChildren"_s] = children;
    const auto tree = open();
    const AccessibleNode node = tree->nodes(tree->roots(), 10)[0];
    QCOMPARE(node.role, QString());
    QCOMPARE(node.children.size(), count);
    QCOMPARE(tree->texts(tree->roots(), allTexts), QList<QStringList>{QStringList(4)});
}

void tst_MacAccessibility::missingValuesOfAShortAnswerAreEmpty()
{
    const FakeApplication fake;
    Fake::attributeValues = [](qint64, const QStringList &, QList<CFTypeRef> &values) {
        values.append(Fake::makeString(u"AXButton"_s));
        return kAXErrorSuccess;
    };
    const auto tree = open();
    QCOMPARE(tree->nodes(tree->roots(), 10), QList{AccessibleNode{.role = u"AXButton"_s}});
    QCOMPARE(tree->texts(tree->roots(), allTexts), QList<QStringList>{QStringList(4)});
}

void tst_MacAccessibility::aDestroyedElementIsEmpty()
{
    FakeApplication fake;
    fake.errors[application] = kAXErrorInvalidUIElement;
    const auto tree = open();
    QCOMPARE(tree->nodes(tree->roots(), 10), QList{AccessibleNode()});
    QCOMPARE(tree->texts(tree->roots(), allTexts), QList<QStringList>{QStringList(4)});
}

void tst_MacAccessibility::textsHaveTheRequestedOrder()
{
    FakeApplication fake;
    fake.attributes[application] = {{u"AXTitle"_s, text(u"t"_s)},
                                    {u"AXDescription"_s, text(u"d 😀"_s)},
                                    {u"AXValue"_s, text(u"v"_s)},
                                    {u"AXHelp"_s, text(u"h"_s)}};
    const auto tree = open();
    QCOMPARE(tree->texts(tree->roots(), allTexts)[0],
             (QStringList{u"t"_s, u"d 😀"_s, u"v"_s, u"h"_s}));
    QCOMPARE(tree->texts(tree->roots(), {LabelAttribute::help, LabelAttribute::title})[0],
             (QStringList{u"h"_s, u"t"_s}));
}

void tst_MacAccessibility::aPasswordIsNotRead()
{
    FakeApplication fake;
    fake.attributes[application] = {{u"AXSubrole"_s, text(u"AXSecureTextField"_s)},
                                    {u"AXDescription"_s, text(u"Password"_s)},
                                    {u"AXValue"_s, text(u"secret"_s)}};
    const auto tree = open();
    QCOMPARE(tree->texts(tree->roots(), allTexts)[0],
             (QStringList{QString(), u"Password"_s, QString(), QString()}));
}

void tst_MacAccessibility::reportsAnApplicationThatDoesNotAnswer()
{
    FakeApplication fake;
    fake.errors[application] = kAXErrorCannotComplete;
    const auto tree = open();
    QVERIFY_THROWS_EXCEPTION(UnresponsiveApplication, (void)tree->nodes(tree->roots(), 10));
    QVERIFY_THROWS_EXCEPTION(UnresponsiveApplication, (void)tree->texts(tree->roots(), allTexts));
}

void tst_MacAccessibility::skipsAHungHelper()
{
    FakeApplication fake;
    fake.helpersElements = {1, 2};
    fake.errors[1] = kAXErrorCannotComplete;
    fake.attributes[application] = {{u"AXRole"_s, text(u"AXApplication"_s)},
                                    {u"AXChildren"_s, elements({1, 2, 3})}};
    fake.attributes[3][u"AXRole"_s] = text(u"AXButton"_s);
    const auto tree = open();
    const QList<ElementId> all = tree->nodes(tree->roots(), 10)[0].children;
    const QList<AccessibleNode> nodes = tree->nodes(all, 10);
    QCOMPARE(nodes, (QList<AccessibleNode>{{}, {}, {.role = u"AXButton"_s}}));
    // Querying the second one would only cost the same time again.
    QCOMPARE(fake.asked.size(), 3);
}

void tst_MacAccessibility::queriesNothingWithoutTime()
{
    const FakeApplication fake;
    const auto tree = open(0ms);
    QVERIFY(tree->isTimeUp());
    QCOMPARE(tree->nodes(tree->roots(), 10), QList{AccessibleNode()});
    QVERIFY(fake.asked.isEmpty());
    QVERIFY(!open()->isTimeUp());
}

void tst_MacAccessibility::accessibilityOfPagesIsEnabledOnce_data()
{
    QTest::addColumn<AXError>("error");
    QTest::addColumn<QStringList>("names");
    QTest::newRow("Electron") << kAXErrorSuccess << QStringList{u"AXManualAccessibility"_s};
    QTest::newRow("Chrome") << kAXErrorAttributeUnsupported
                            << QStringList{u"AXManualAccessibility"_s,
                                           u"AXEnhancedUserInterface"_s};
    QTest::newRow("hung") << kAXErrorCannotComplete << QStringList{u"AXManualAccessibility"_s};
}

void tst_MacAccessibility::accessibilityOfPagesIsEnabledOnce()
{
    QFETCH(const AXError, error);
    QFETCH(const QStringList, names);
    const FakeApplication fake;
    QStringList asked;
    Fake::switchOn = [&](qint64 element, const QString &name) {
        if (element == application)
            asked.append(name);
        return name == u"AXManualAccessibility" ? error : kAXErrorSuccess;
    };
    MacAccessibility accessibility;
    for (int i = 0; i < 2; ++i)
        QVERIFY(accessibility.open(ProcessId{application}, 1h));
    Fake::switchOn = nullptr;
    QCOMPARE(asked, names);
}

void tst_MacAccessibility::aPressHasTheElementsResult_data()
{
    QTest::addColumn<AXError>("error");
    QTest::addColumn<bool>("isPressed");
    QTest::newRow("success") << kAXErrorSuccess << true;
    QTest::newRow("unsupported") << kAXErrorActionUnsupported << false;
    QTest::newRow("gone") << kAXErrorInvalidUIElement << false;
    QTest::newRow("failure") << kAXErrorFailure << false;
    QTest::newRow("no answer in time") << kAXErrorCannotComplete << false;
}

void tst_MacAccessibility::aPressHasTheElementsResult()
{
    QFETCH(const AXError, error);
    QFETCH(const bool, isPressed);
    FakeApplication fake;
    fake.actionErrors[application] = error;
    fake.attributes[application][u"AXRole"_s] = text(u"AXApplication"_s);
    const auto tree = open();
    QCOMPARE(tree->press(ElementId{0}), isPressed);
    QCOMPARE(fake.performed, (QList<std::pair<qint64, QString>>{{application, u"AXPress"_s}}));
}

QTEST_APPLESS_MAIN(tst_MacAccessibility)
#include "tst_MacAccessibility.moc"
