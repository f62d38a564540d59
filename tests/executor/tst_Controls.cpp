#include "tests/executor/Running.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const QString noPermission =
    u"ActionError: Accessibility permission is required. Enable it in System Settings → Privacy & Security → Accessibility."_s;

/// A desktop with controls in the application in front.
class Desktop : public FakePlatform
{
public:
    Desktop() { fakeWorkspace.front = Application{.pid = ProcessId{7}, .name = u"Notes"_s}; }

    /// Nested elements, the first one in the application; returns the last one.
    qsizetype chain(qsizetype length)
    {
        qsizetype last = 0;
        for (qsizetype i = 0; i < length; ++i)
            last = fakeAccessibility.add(last, {.role = u"AXGroup"_s});
        return last;
    }
};

QString click(const QString &label)
{
    return outcome(u"click"_s, {{u"label"_s, label}});
}

QString readUI()
{
    return outcome(u"read_ui"_s);
}
} // namespace

class tst_Controls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestsAMissingPermission();
    void continuesIfTheRequestGrantsThePermission();
    void checksThePermissionBeforeTheFront();
    void failsWithoutAFrontApplication();
    void readsTheFrontApplication();
    void clickNeedsALabel();

    void clickableRoles_data();
    void clickableRoles();
    void readableRoles_data();
    void readableRoles();
    void usesTheFirstNonEmptyTextAsTheLabel_data();
    void usesTheFirstNonEmptyTextAsTheLabel();

    void prefersAnExactLabel();
    void choosesTheFirstPartialLabel();
    void choosesTheFirstOfEqualLabels();
    void ignoresCaseAndTheEncodingOfAccents();
    void walksLevelByLevel();
    void trimsTheLabelAndReportsItAsGiven();
    void reportsAControlThatRefuses();
    void reportsAMissingControl();
    void clickVisitsThreeThousandElements();
    void clickGoesTwelveLevelsDeep();
    void clickStopsAtTheControl();

    void readsInTheOrderOfTheWalk();
    void skipsControlsWithoutALabel();
    void readsEqualLinesOnce();
    void cutsLongLabelsAtAGrapheme();
    void readsLabelsWithTheSameBeginningOnce();
    void skipsHiddenControls();
    void prefersTheEqualLabelThatShows_data();
    void prefersTheEqualLabelThatShows();
    void readsControlsThatMayShow();
    void reportsThatThereIsNothingToRead();
    void readsFortyLines();
    void readVisitsFifteenHundredElements();
    void readGoesTenLevelsDeep();
    void readStopsSoonAfterItsLastLine();
    void fetchesLabelsOnlyOfMatchingRoles();

    void endsInACircularTree();
    void limitsTheChildrenOfAnElement();
    void reportsAnApplicationWithoutAnInterface();
    void reportsAHungApplication_data();
    void reportsAHungApplication();
    void usesWhatWasReadInTime();
    void reportsATimeoutWithoutAnyControl();
    void passesTheSystemsFailureOn();
};

void tst_Controls::requestsAMissingPermission()
{
    Desktop desktop;
    desktop.fakeAccessibility.trusted = false;
    QCOMPARE(click(u"Save"_s), noPermission);
    QCOMPARE(desktop.fakeAccessibility.trustRequests, 1);
    QCOMPARE(readUI(), noPermission);
    QCOMPARE(desktop.fakeAccessibility.trustRequests, 2);
    QVERIFY(desktop.fakeAccessibility.opened.isEmpty());
    QCOMPARE(outcome(u"list_windows"_s), u"none"_s);
    QCOMPARE(desktop.fakeAccessibility.trustRequests, 2);
}

void tst_Controls::continuesIfTheRequestGrantsThePermission()
{
    Desktop desktop;
    desktop.fakeAccessibility.trusted = false;
    desktop.fakeAccessibility.givesTrust = true;
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"Save"_s});
    QCOMPARE(click(u"Save"_s), u"Clicked “Save”."_s);
    QCOMPARE(desktop.fakeAccessibility.trustRequests, 1);
}

void tst_Controls::checksThePermissionBeforeTheFront()
{
    Desktop desktop;
    desktop.fakeWorkspace.front.reset();
    desktop.fakeAccessibility.trusted = false;
    QCOMPARE(readUI(), noPermission);
}

void tst_Controls::failsWithoutAFrontApplication()
{
    Desktop desktop;
    desktop.fakeWorkspace.front.reset();
    QCOMPARE(click(u"Save"_s), u"ActionError: No frontmost app."_s);
    QCOMPARE(readUI(), u"ActionError: No frontmost app."_s);
    QCOMPARE(desktop.fakeAccessibility.trustRequests, 0);
}

void tst_Controls::readsTheFrontApplication()
{
    const Desktop desktop;
    (void)readUI();
    (void)click(u"Save"_s);
    QCOMPARE(desktop.fakeAccessibility.opened, QList<ProcessId>(2, ProcessId{7}));
}

void tst_Controls::clickNeedsALabel()
{
    Desktop desktop;
    desktop.fakeAccessibility.trusted = false;
    QCOMPARE(outcome(u"click"_s), u"ActionError: Missing label."_s);
    QCOMPARE(click(u" \n"_s), u"ActionError: Missing label."_s);
    QCOMPARE(desktop.fakeAccessibility.trustRequests, 0);
}

namespace {
void addRoles(const QStringList &chosen)
{
    QTest::addColumn<QString>("role");
    QTest::addColumn<bool>("isChosen");
    for (const char *role :
         {"AXButton", "AXTextField", "AXMenuItem", "AXMenuBarItem", "AXLink", "AXTab",
          "AXRadioButton", "AXCheckBox", "AXStaticText", "AXPopUpButton", "AXWindow", "AXGroup",
          "AXImage", "AXMenu", "AXMenuBar", "AXTextArea", "Button", "axbutton", ""}) {
        QTest::newRow(role) << QString::fromLatin1(role)
                            << chosen.contains(QString::fromLatin1(role));
    }
}
} // namespace

void tst_Controls::clickableRoles_data()
{
    addRoles({u"AXButton"_s, u"AXMenuItem"_s, u"AXMenuBarItem"_s, u"AXRadioButton"_s,
              u"AXCheckBox"_s, u"AXLink"_s, u"AXTab"_s, u"AXPopUpButton"_s});
}

void tst_Controls::clickableRoles()
{
    QFETCH(const QString, role);
    QFETCH(const bool, isChosen);
    Desktop desktop;
    const qsizetype control = desktop.fakeAccessibility.add(0, {.role = role, .title = u"Save"_s});
    QCOMPARE(click(u"Save"_s), isChosen
                                   ? u"Clicked “Save”."_s
                                   : u"ActionError: Couldn't find a control labelled “Save”."_s);
    QCOMPARE(desktop.fakeAccessibility.pressed, isChosen ? QList{control} : QList<qsizetype>());
}

void tst_Controls::readableRoles_data()
{
    addRoles({u"AXButton"_s, u"AXTextField"_s, u"AXMenuItem"_s, u"AXLink"_s, u"AXTab"_s,
              u"AXRadioButton"_s, u"AXCheckBox"_s, u"AXStaticText"_s});
}

void tst_Controls::readableRoles()
{
    QFETCH(const QString, role);
    QFETCH(const bool, isChosen);
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = role, .title = u"Save"_s});
    QCOMPARE(readUI(), isChosen ? role.mid(2) + u": Save"_s : u"No readable controls found."_s);
}

void tst_Controls::usesTheFirstNonEmptyTextAsTheLabel_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QString>("label");
    QTest::newRow("all") << QStringList{u"t"_s, u"d"_s, u"v"_s, u"h"_s} << u"t"_s;
    QTest::newRow("no title") << QStringList{u""_s, u"d"_s, u"v"_s, u"h"_s} << u"d"_s;
    QTest::newRow("a value") << QStringList{u""_s, u""_s, u"v"_s, u"h"_s} << u"v"_s;
    QTest::newRow("help alone") << QStringList{u""_s, u""_s, u""_s, u"h"_s} << u"h"_s;
    QTest::newRow("a blank title") << QStringList{u" "_s, u"d"_s, u"v"_s, u"h"_s} << u" "_s;
}

void tst_Controls::usesTheFirstNonEmptyTextAsTheLabel()
{
    QFETCH(const QStringList, texts);
    QFETCH(const QString, label);
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"first"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s,
                                      .title = texts[0],
                                      .description = texts[1],
                                      .value = texts[2],
                                      .help = texts[3]});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .description = u"last"_s});
    QCOMPARE(readUI(), u"Button: first | Button: "_s + label + u" | Button: last"_s);
}

void tst_Controls::prefersAnExactLabel()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"Save As…"_s});
    const qsizetype save = desktop.fakeAccessibility.add(
        desktop.chain(5), {.role = u"AXButton"_s, .title = u"Save"_s});
    QCOMPARE(click(u"save"_s), u"Clicked “save”."_s);
    QCOMPARE(desktop.fakeAccessibility.pressed, QList{save});
}

void tst_Controls::choosesTheFirstPartialLabel()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXStaticText"_s, .title = u"sav"_s});
    const qsizetype saveAs =
        desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"Save As…"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"Save"_s});
    QCOMPARE(click(u"sav"_s), u"Clicked “sav”."_s);
    QCOMPARE(desktop.fakeAccessibility.pressed, QList{saveAs});
}

void tst_Controls::choosesTheFirstOfEqualLabels()
{
    Desktop desktop;
    const qsizetype first =
        desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"OK"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"OK"_s});
    (void)click(u"OK"_s);
    QCOMPARE(desktop.fakeAccessibility.pressed, QList{first});
}

void tst_Controls::ignoresCaseAndTheEncodingOfAccents()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXMenuBarItem"_s, .title = u"ÉDITION"_s});
    QCOMPARE(click(u"e\u0301dition"_s), u"Clicked “e\u0301dition”."_s);
    QCOMPARE(click(u"édit"_s), u"Clicked “édit”."_s);
}

void tst_Controls::walksLevelByLevel()
{
    Desktop desktop;
    const qsizetype window =
        desktop.fakeAccessibility.add(0, {.role = u"AXWindow"_s, .title = u"w"_s});
    desktop.fakeAccessibility.add(window, {.role = u"AXButton"_s, .title = u"deep"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"flat"_s});
    desktop.fakeAccessibility.all[0].role = u"AXButton"_s;
    desktop.fakeAccessibility.all[0].title = u"root"_s;
    QCOMPARE(readUI(), u"Button: root | Button: flat | Button: deep"_s);
}

void tst_Controls::trimsTheLabelAndReportsItAsGiven()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"Save"_s});
    QCOMPARE(click(u" SAVE\n"_s), u"Clicked “SAVE”."_s);
}

void tst_Controls::reportsAControlThatRefuses()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(
        0, {.role = u"AXButton"_s, .title = u"Save"_s, .refusesPress = true});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"Save"_s});
    QCOMPARE(click(u"Save"_s), u"ActionError: “Save” didn't respond to a click."_s);
    QCOMPARE(desktop.fakeAccessibility.pressed.size(), 1);
}

void tst_Controls::reportsAMissingControl()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"Sav"_s});
    QCOMPARE(click(u"Save"_s), u"ActionError: Couldn't find a control labelled “Save”."_s);
    QVERIFY(desktop.fakeAccessibility.pressed.isEmpty());
}

void tst_Controls::clickVisitsThreeThousandElements()
{
    Desktop desktop;
    for (int i = 0; i < 2999; ++i)
        desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = QString::number(i)});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"beyond"_s});
    QCOMPARE(click(u"2998"_s), u"Clicked “2998”."_s);
    QCOMPARE(click(u"beyond"_s), u"ActionError: Couldn't find a control labelled “beyond”."_s);
}

void tst_Controls::clickGoesTwelveLevelsDeep()
{
    Desktop desktop;
    const qsizetype eleventh = desktop.chain(11);
    const qsizetype twelfth =
        desktop.fakeAccessibility.add(eleventh, {.role = u"AXButton"_s, .title = u"twelve"_s});
    desktop.fakeAccessibility.add(twelfth, {.role = u"AXButton"_s, .title = u"thirteen"_s});
    QCOMPARE(click(u"twelve"_s), u"Clicked “twelve”."_s);
    QCOMPARE(click(u"thirteen"_s), u"ActionError: Couldn't find a control labelled “thirteen”."_s);
}

void tst_Controls::clickStopsAtTheControl()
{
    Desktop desktop;
    for (int i = 0; i < 2000; ++i)
        desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = QString::number(i)});
    (void)click(u"3"_s);
    QVERIFY2(desktop.fakeAccessibility.nodesRead <= 200,
             qPrintable(QString::number(desktop.fakeAccessibility.nodesRead)));
}

void tst_Controls::readsInTheOrderOfTheWalk()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXStaticText"_s, .value = u"Name:"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXTextField"_s, .value = u"Ada"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXPopUpButton"_s, .title = u"Size"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"OK"_s});
    QCOMPARE(readUI(), u"StaticText: Name: | TextField: Ada | Button: OK"_s);
}

void tst_Controls::skipsControlsWithoutALabel()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s});
    QCOMPARE(readUI(), u"No readable controls found."_s);
}

void tst_Controls::readsEqualLinesOnce()
{
    Desktop desktop;
    for (const QString &title : {u"OK"_s, u"Cancel"_s, u"OK"_s, u"ok"_s})
        desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = title});
    desktop.fakeAccessibility.add(0, {.role = u"AXLink"_s, .title = u"OK"_s});
    QCOMPARE(readUI(), u"Button: OK | Button: Cancel | Button: ok | Link: OK"_s);
}

void tst_Controls::cutsLongLabelsAtAGrapheme()
{
    Desktop desktop;
    const QString family = u"👩‍👩‍👧"_s; // one grapheme of three persons
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"x"_s.repeated(80)});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"x"_s.repeated(50)});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = family.repeated(51)});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"e\u0301"_s.repeated(50)});
    // The persons are also one grapheme after Indic letters.
    desktop.fakeAccessibility.add(0,
                                  {.role = u"AXButton"_s, .title = u"नी"_s + family.repeated(50)});
    QCOMPARE(readUI(), u"Button: "_s + u"x"_s.repeated(50) + u" | Button: "_s +
                           family.repeated(50) + u" | Button: "_s + u"e\u0301"_s.repeated(50) +
                           u" | Button: नी"_s + family.repeated(49));
}

void tst_Controls::readsLabelsWithTheSameBeginningOnce()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"x"_s.repeated(50) + u'a'});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"x"_s.repeated(50) + u'b'});
    QCOMPARE(readUI(), u"Button: "_s + u"x"_s.repeated(50));
}

void tst_Controls::skipsHiddenControls()
{
    Desktop desktop;
    for (const Visibility visibility : {Visibility::hidden, Visibility::shown, Visibility::hidden})
        desktop.fakeAccessibility.add(
            0, {.role = u"AXButton"_s, .title = u"OK"_s, .visibility = visibility});
    desktop.fakeAccessibility.add(
        0, {.role = u"AXButton"_s, .title = u"Cancel"_s, .visibility = Visibility::hidden});
    QCOMPARE(readUI(), u"Button: OK"_s);
    QCOMPARE(click(u"OK"_s), u"Clicked “OK”."_s);
    QCOMPARE(desktop.fakeAccessibility.pressed, QList<qsizetype>{2});
    QCOMPARE(click(u"Cancel"_s), u"ActionError: Couldn't find a control labelled “Cancel”."_s);
}

void tst_Controls::prefersTheEqualLabelThatShows_data()
{
    QTest::addColumn<QStringList>("titles");
    QTest::addColumn<QList<Visibility>>("visibilities");
    QTest::addColumn<qsizetype>("pressed");
    constexpr Visibility shown = Visibility::shown;
    constexpr Visibility unclear = Visibility::unclear;
    const QStringList same{u"Buy now"_s, u"Buy now"_s, u"Buy now"_s};
    QTest::newRow("the first that shows")
        << same << QList<Visibility>{unclear, shown, shown} << qsizetype{2};
    QTest::newRow("the first when none is sure to")
        << same << QList<Visibility>{unclear, unclear, unclear} << qsizetype{1};
    QTest::newRow("a part of the label") << QStringList{u"Buy now!"_s, u"Not Buy now"_s}
                                         << QList<Visibility>{unclear, shown} << qsizetype{2};
    QTest::newRow("the whole label before that")
        << QStringList{u"Buy now!"_s, u"Buy now"_s} << QList<Visibility>{shown, unclear}
        << qsizetype{2};
}

void tst_Controls::prefersTheEqualLabelThatShows()
{
    QFETCH(const QStringList, titles);
    QFETCH(const QList<Visibility>, visibilities);
    QFETCH(const qsizetype, pressed);
    Desktop desktop;
    for (qsizetype i = 0; i < titles.size(); ++i) {
        desktop.fakeAccessibility.add(
            0, {.role = u"AXButton"_s, .title = titles[i], .visibility = visibilities[i]});
    }
    QCOMPARE(click(u"Buy now"_s), u"Clicked “Buy now”."_s);
    QCOMPARE(desktop.fakeAccessibility.pressed, QList<qsizetype>{pressed});
}

void tst_Controls::readsControlsThatMayShow()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(
        0, {.role = u"AXButton"_s, .title = u"OK"_s, .visibility = Visibility::unclear});
    QCOMPARE(readUI(), u"Button: OK"_s);
}

void tst_Controls::reportsThatThereIsNothingToRead()
{
    const Desktop desktop;
    QCOMPARE(readUI(), u"No readable controls found."_s);
}

void tst_Controls::readsFortyLines()
{
    Desktop desktop;
    QStringList lines;
    for (int i = 0; i < 41; ++i) {
        // Skipped and repeated controls do not count.
        desktop.fakeAccessibility.add(0, {.role = u"AXGroup"_s, .title = u"group"_s});
        for (int again = 0; again < 2; ++again)
            desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = QString::number(i)});
        lines.append(u"Button: "_s + QString::number(i));
    }
    lines.removeLast();
    QCOMPARE(readUI(), lines.join(u" | "_s));
}

void tst_Controls::readVisitsFifteenHundredElements()
{
    Desktop desktop;
    for (int i = 0; i < 1498; ++i)
        desktop.fakeAccessibility.add(0, {.role = u"AXGroup"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"last"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"beyond"_s});
    QCOMPARE(readUI(), u"Button: last"_s);
}

void tst_Controls::readGoesTenLevelsDeep()
{
    Desktop desktop;
    const qsizetype tenth =
        desktop.fakeAccessibility.add(desktop.chain(9), {.role = u"AXButton"_s, .title = u"ten"_s});
    desktop.fakeAccessibility.add(tenth, {.role = u"AXButton"_s, .title = u"eleven"_s});
    QCOMPARE(readUI(), u"Button: ten"_s);
    QCOMPARE(desktop.fakeAccessibility.childrenRead, 10);
}

void tst_Controls::readStopsSoonAfterItsLastLine()
{
    Desktop desktop;
    for (int i = 0; i < 1400; ++i)
        desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = QString::number(i)});
    (void)readUI();
    QVERIFY2(desktop.fakeAccessibility.nodesRead <= 200,
             qPrintable(QString::number(desktop.fakeAccessibility.nodesRead)));
}

void tst_Controls::fetchesLabelsOnlyOfMatchingRoles()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXGroup"_s, .title = u"group"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"button"_s});
    (void)readUI();
    QCOMPARE(desktop.fakeAccessibility.textsRead, 1);
}

void tst_Controls::endsInACircularTree()
{
    Desktop desktop;
    const qsizetype window = desktop.fakeAccessibility.add(0, {.role = u"AXWindow"_s});
    desktop.fakeAccessibility.add(window, {.role = u"AXButton"_s, .title = u"OK"_s});
    desktop.fakeAccessibility.all[window].children.append({0, window, window});
    QCOMPARE(readUI(), u"Button: OK"_s);
    QCOMPARE(desktop.fakeAccessibility.nodesRead, 1500);
    desktop.fakeAccessibility.nodesRead = 0;
    QCOMPARE(click(u"Cancel"_s), u"ActionError: Couldn't find a control labelled “Cancel”."_s);
    QCOMPARE(desktop.fakeAccessibility.nodesRead, 3000);
}

void tst_Controls::limitsTheChildrenOfAnElement()
{
    Desktop desktop;
    const qsizetype list = desktop.fakeAccessibility.add(0, {.role = u"AXList"_s});
    const qsizetype item = desktop.fakeAccessibility.add(list, {.role = u"AXGroup"_s});
    desktop.fakeAccessibility.all[list].children = QList<qsizetype>(100'000, item);
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"OK"_s});
    QCOMPARE(readUI(), u"Button: OK"_s);
    QCOMPARE(desktop.fakeAccessibility.childrenRead, 1499);
    desktop.fakeAccessibility.childrenRead = 0;
    QCOMPARE(click(u"O"_s), u"Clicked “O”."_s);
    QCOMPARE(desktop.fakeAccessibility.childrenRead, 2999);
}

void tst_Controls::reportsAnApplicationWithoutAnInterface()
{
    Desktop desktop;
    desktop.fakeAccessibility.hasRoot = false;
    QCOMPARE(readUI(), u"No readable controls found."_s);
    QCOMPARE(click(u"OK"_s), u"ActionError: Couldn't find a control labelled “OK”."_s);
}

void tst_Controls::reportsAHungApplication_data()
{
    QTest::addColumn<qsizetype>("silentAfter");
    QTest::addColumn<std::optional<QString>>("name");
    QTest::addColumn<QString>("sentence");
    using Name = std::optional<QString>;
    QTest::newRow("at once") << qsizetype(0) << Name(u"Notes"_s) << u"“Notes” doesn't respond."_s;
    QTest::newRow("later") << qsizetype(2) << Name(u"Notes"_s) << u"“Notes” doesn't respond."_s;
    QTest::newRow("nameless") << qsizetype(0) << Name() << u"The frontmost app doesn't respond."_s;
}

void tst_Controls::reportsAHungApplication()
{
    QFETCH(const qsizetype, silentAfter);
    QFETCH(const std::optional<QString>, name);
    QFETCH(const QString, sentence);
    Desktop desktop;
    desktop.fakeWorkspace.front->name = name;
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"OK"_s});
    desktop.fakeAccessibility.add(0, {.role = u"AXGroup"_s});
    desktop.fakeAccessibility.silentAfter = silentAfter;
    QCOMPARE(readUI(), u"ActionError: "_s + sentence);
    desktop.fakeAccessibility.nodesRead = 0;
    QCOMPARE(click(u"OK"_s), u"ActionError: "_s + sentence);
    QVERIFY(desktop.fakeAccessibility.pressed.isEmpty());
}

void tst_Controls::usesWhatWasReadInTime()
{
    Desktop desktop;
    for (const QString &title : {u"OK now"_s, u"Cancel"_s, u"OK"_s})
        desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = title});
    desktop.fakeAccessibility.timeUpAfter = 3;
    QCOMPARE(readUI(), u"Button: OK now | Button: Cancel"_s);
    desktop.fakeAccessibility.nodesRead = 0;
    QCOMPARE(click(u"OK"_s), u"Clicked “OK”."_s);
    QCOMPARE(desktop.fakeAccessibility.pressed, QList<qsizetype>{1});
}

void tst_Controls::reportsATimeoutWithoutAnyControl()
{
    Desktop desktop;
    desktop.fakeAccessibility.add(0, {.role = u"AXButton"_s, .title = u"OK"_s});
    desktop.fakeAccessibility.timeUpAfter = 1;
    QCOMPARE(readUI(), u"ActionError: “Notes” doesn't respond."_s);
    desktop.fakeAccessibility.nodesRead = 0;
    QCOMPARE(click(u"OK"_s), u"ActionError: “Notes” doesn't respond."_s);
}

void tst_Controls::passesTheSystemsFailureOn()
{
    Desktop desktop;
    desktop.fakeAccessibility.failure = u"The accessibility bus is gone."_s;
    QCOMPARE(readUI(), u"PlatformError: The accessibility bus is gone."_s);
    QCOMPARE(click(u"OK"_s), u"PlatformError: The accessibility bus is gone."_s);
}

QTEST_GUILESS_MAIN(tst_Controls)
#include "tst_Controls.moc"
