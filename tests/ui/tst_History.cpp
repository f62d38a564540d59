#include "tests/support/Waiting.h"
#include "tests/ui/HistoryScene.h"

#include <QClipboard>
#include <QFont>

using namespace Qt::StringLiterals;

using Kind = LogEntry::Kind;

namespace {
const QString markup =
    u"<b>bold</b> <img src=\"file:///dev/zero\"> <a href=\"x\">y</a> &amp; **z**"_s;
} // namespace

class tst_History : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void beginsWithSuggestions();
    void aSuggestionFillsTheFieldOnly_data();
    void aSuggestionFillsTheFieldOnly();
    void showsTurnsAsTheyAre();
    void looksByKind_data();
    void looksByKind();
    void aTurnWithoutALogHasNoGap();
    void showsMarkupAsText();
    void aStepTurnsFromSpinnerToTick();
    void theFirstTurnReplacesTheSuggestions();
    void showsWhatGoesOn();
    void theStatusStaysWhenThePreviewComes();
    void spinnersTurnAsOne();
    void theStatusKeepsItsLinesAndThePreviewHasOne();
    void textIsSelectedAndCopied();
    void aTurnIsCopiedByKeys();
    void aNewLineLeavesTheChosenTurn();
    void clearsByTheShortcut();
    void doesNotClearWhileATaskRuns();
    void nothingMovesWhileNothingHappens();
};

void tst_History::beginsWithSuggestions()
{
    const HistoryScene scene;
    QCOMPARE(scene.text(u"suggestionsHeading"_s), u"Try"_s);
    QCOMPARE(scene.text(u"suggestion0"_s), u"Open Safari and search Google for MacBook Air"_s);
    QCOMPARE(scene.text(u"suggestion1"_s), u"Open Finder and create a folder called Projects"_s);
    QCOMPARE(scene.text(u"suggestion2"_s), u"Take a screenshot and save it to Downloads"_s);
    QCOMPARE(scene.text(u"suggestion3"_s), u"Open my Downloads folder and find the latest PDF"_s);
    QVERIFY(!scene.find(u"suggestion4"_s));
    QCOMPARE(scene.find(u"suggestionSymbol"_s)->property("name"), u"arrow.turn.down.right"_s);
    QCOMPARE(scene.all(u"suggestionSymbol"_s).size(), 4);
    // Rows that are easily read and hit.
    QCOMPARE(scene.item(u"suggestion0"_s).height(), 44);
    QCOMPARE(scene.item(u"suggestion0"_s).property("font").value<QFont>().pixelSize(), 15);
    QCOMPARE(scene.find(u"suggestionSymbol"_s)->width(), 18);
}

void tst_History::aSuggestionFillsTheFieldOnly_data()
{
    QTest::addColumn<bool>("byKeys");
    QTest::newRow("mouse") << false;
    QTest::newRow("keys") << true;
}

void tst_History::aSuggestionFillsTheFieldOnly()
{
    QFETCH(const bool, byKeys);
    HistoryScene scene;
    scene.type(u"something else"_s);
    if (byKeys) {
        scene.item(u"suggestion2"_s).forceActiveFocus(Qt::TabFocusReason);
        scene.key(Qt::Key_Return);
    } else {
        scene.click(u"suggestion2"_s);
    }
    QCOMPARE(scene.typed(), u"Take a screenshot and save it to Downloads"_s);
    QVERIFY(scene.hasFocus(u"commandField"_s));
    QVERIFY(scene.session->turns().isEmpty());
    QVERIFY(!scene.session->isRunning());
}

void tst_History::showsTurnsAsTheyAre()
{
    HistoryScene scene;
    scene.session->setTurns({turnOf(u"Open Mail"_s,
                                    {{.text = u"Launching Mail"_s, .kind = Kind::step},
                                     {.text = u"Mail is open."_s, .kind = Kind::success}},
                                    u"Mail is open."_s)});
    QTRY_COMPARE(scene.all(u"logLine"_s).size(), 2);
    QVERIFY(!scene.find(u"suggestions"_s));
    const QQuickItem &command = scene.item(u"turnCommand"_s);
    const QQuickItem &log = scene.item(u"turnLog"_s);
    const QQuickItem &summary = scene.item(u"turnSummary"_s);
    const QList<QQuickItem *> lines = scene.all(u"logLine"_s);
    QCOMPARE(command.property("text"), u"Open Mail"_s);
    QCOMPARE(summary.property("text"), u"Mail is open."_s);

    const auto font = [](const QQuickItem &item) { return item.property("font").value<QFont>(); };
    QCOMPARE(font(command).pixelSize(), 15);
    QCOMPARE(font(command).weight(), QFont::DemiBold);
    QCOMPARE(font(summary).pixelSize(), 13);
    QCOMPARE(summary.property("color").value<QColor>(), scene.color("secondary"));
    QCOMPARE(summary.property("topPadding"), 2);

    // 10 between the parts, 6 between the lines, 8 between a line's two parts.
    const auto top = [](const QQuickItem &item) { return item.mapToScene({}).y(); };
    QCOMPARE(top(log), top(command) + command.height() + 10);
    QCOMPARE(top(summary), top(log) + log.height() + 10);
    QCOMPARE(top(*lines[1]), top(*lines[0]) + lines[0]->height() + 6);
    const QQuickItem &symbol = scene.part(lines[0], u"lineSymbolPlace"_s);
    const QQuickItem &text = scene.part(lines[0], u"lineText"_s);
    QCOMPARE(symbol.width(), 14);
    QCOMPARE(text.mapToScene({}).x(), symbol.mapToScene({}).x() + 14 + 8);
    QCOMPARE(font(text).pixelSize(), 13);
    QVERIFY(qAbs(top(symbol) + symbol.height() / 2 - top(text) - text.height() / 2) <= 0.5);
    for (const QQuickItem *const item : {&command, &summary, &text})
        QVERIFY(item->width() > 600);
}

void tst_History::looksByKind_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<bool>("running");
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<QByteArray>("symbolColor");
    QTest::addColumn<QByteArray>("textColor");
    using Bytes = QByteArray;
    QTest::newRow("step") << Kind::step << false << u"checkmark"_s << Bytes("secondary")
                          << Bytes("secondary");
    QTest::newRow("success") << Kind::success << false << u"checkmark.circle.fill"_s
                             << Bytes("green") << Bytes("primary");
    QTest::newRow("failure") << Kind::failure << false << u"xmark.circle.fill"_s << Bytes("red")
                             << Bytes("red");
    QTest::newRow("info") << Kind::info << false << u"info.circle"_s << Bytes("secondary")
                          << Bytes("secondary");
    QTest::newRow("confirm") << Kind::confirm << false << u"hand.raised.fill"_s << Bytes("orange")
                             << Bytes("secondary");
    QTest::newRow("running step") << Kind::step << true << QString() << Bytes() << Bytes("primary");
    QTest::newRow("running failure")
        << Kind::failure << true << QString() << Bytes() << Bytes("red");
    QTest::newRow("running info") << Kind::info << true << QString() << Bytes() << Bytes("primary");
}

void tst_History::looksByKind()
{
    QFETCH(const Kind, kind);
    QFETCH(const bool, running);
    QFETCH(const QString, symbol);
    QFETCH(const QByteArray, symbolColor);
    QFETCH(const QByteArray, textColor);
    HistoryScene scene;
    scene.session->setTurns(
        {turnOf(u"Task"_s, {{.text = u"A line"_s, .kind = kind, .running = running}})});
    QTRY_COMPARE(scene.all(u"logLine"_s).size(), 1);
    const QQuickItem *const line = scene.find(u"logLine"_s);
    QCOMPARE(scene.find(u"lineSpinner"_s) != nullptr, running);
    QCOMPARE(scene.find(u"lineSymbol"_s) != nullptr, !running);
    if (!running) {
        QCOMPARE(scene.part(line, u"lineSymbol"_s).property("name"), symbol);
        QCOMPARE(scene.part(line, u"lineSymbol"_s).property("color").value<QColor>(),
                 scene.color(symbolColor));
    }
    QCOMPARE(scene.part(line, u"lineText"_s).property("color").value<QColor>(),
             scene.color(textColor));
}

void tst_History::aTurnWithoutALogHasNoGap()
{
    HistoryScene scene;
    Turn turn = turnOf(u"Task"_s, {});
    scene.session->setTurns({turn});
    QTRY_VERIFY(scene.find(u"turnCommand"_s));
    QCOMPARE(scene.item(u"turn"_s).height(), scene.item(u"turnCommand"_s).height());
    QVERIFY(!scene.find(u"turnSummary"_s));
    turn.summary = u"Done"_s;
    scene.session->setTurns({turn});
    QVERIFY(scene.find(u"turnSummary"_s));
    QTRY_COMPARE(scene.item(u"turn"_s).height(), scene.item(u"turnCommand"_s).height() + 10 +
                                                     scene.item(u"turnSummary"_s).height());
}

void tst_History::showsMarkupAsText()
{
    HistoryScene scene;
    scene.session->setTurns({turnOf(markup, {{.text = markup}}, markup)});
    QTRY_COMPARE(scene.all(u"logLine"_s).size(), 1);
    for (const QString &name : {u"turnCommand"_s, u"lineText"_s, u"turnSummary"_s}) {
        const QQuickItem &item = scene.item(name);
        QCOMPARE(item.property("text"), markup);
        QCOMPARE(item.property("length").toInt(), int(markup.size()));
        QCOMPARE(item.property("textFormat").toInt(), int(Qt::PlainText));
    }
    scene.engine->addReplies({Say::done()});
    scene.engine->holdGenerations();
    scene.session->submit(markup);
    QTRY_VERIFY(scene.engine->isGenerating());
    scene.engine->sendPiece(markup);
    QTRY_COMPARE(scene.text(u"livePreview"_s), markup);
    QVERIFY(scene.allTexts().size() > 10);
    for (const QQuickItem *const text : scene.allTexts())
        QCOMPARE(text->property("textFormat").toInt(), int(Qt::PlainText));
    scene.engine->releaseGeneration();
    QTRY_VERIFY(!scene.session->isRunning());
}

void tst_History::aStepTurnsFromSpinnerToTick()
{
    HistoryScene scene;
    Turn turn = turnOf(u"Task"_s, {{.text = u"Searching"_s, .running = true}});
    scene.session->setTurns({turn});
    QTRY_VERIFY(scene.find(u"lineSpinner"_s));
    const QPointer<QQuickItem> line = scene.find(u"logLine"_s);
    turn.log[0].running = false;
    scene.session->setTurns({turn});
    QVERIFY(!scene.find(u"lineSpinner"_s));
    QCOMPARE(scene.item(u"lineSymbol"_s).property("name"), u"checkmark"_s);
    QCOMPARE(scene.find(u"logLine"_s), line.data());
}

void tst_History::theFirstTurnReplacesTheSuggestions()
{
    HistoryScene scene;
    scene.run(u"Which windows are open?"_s, {Say::listWindows, Say::done()});
    QVERIFY(!scene.find(u"suggestions"_s));
    QTRY_COMPARE(scene.text(u"turnCommand"_s), u"Which windows are open?"_s);
    QTRY_COMPARE(scene.all(u"logLine"_s).size(), 2);
}

void tst_History::showsWhatGoesOn()
{
    HistoryScene scene;
    QVERIFY(!scene.find(u"live"_s));
    scene.engine->addReplies({Say::done()});
    scene.engine->holdGenerations();
    scene.submit(u"Anything"_s);
    QTRY_COMPARE(scene.text(u"liveStatus"_s), u"Thinking…"_s);
    QVERIFY(!scene.find(u"livePreview"_s));
    QVERIFY(scene.find(u"liveSpinner"_s));
    scene.engine->sendPiece(u"{\"action\":\n\"done\""_s);
    QTRY_COMPARE(scene.text(u"livePreview"_s), u"{\"action\": \"done\""_s);
    const QQuickItem &status = scene.item(u"liveStatus"_s);
    const QQuickItem &preview = scene.item(u"livePreview"_s);
    const auto statusFont = status.property("font").value<QFont>();
    QCOMPARE(statusFont.pixelSize(), 13);
    QCOMPARE(statusFont.weight(), QFont::Medium);
    QCOMPARE(preview.property("font").value<QFont>().pixelSize(), 11);
    QCOMPARE(preview.property("font").value<QFont>().family(),
             scene.theme().property("fixedFamily").toString());
    QCOMPARE(preview.property("color").value<QColor>(), scene.color("tertiary"));
    QCOMPARE(preview.mapToScene({}).x(), status.mapToScene({}).x());
    QTRY_COMPARE(preview.mapToScene({}).y(), status.mapToScene({}).y() + status.height() + 2);
    scene.engine->releaseGeneration();
    QTRY_VERIFY(!scene.find(u"live"_s));
}

void tst_History::theStatusStaysWhenThePreviewComes()
{
    HistoryScene scene;
    scene.engine->addReplies({Say::done()});
    scene.engine->holdGenerations();
    scene.submit(u"Anything"_s);
    QTRY_COMPARE(scene.text(u"liveStatus"_s), u"Thinking…"_s);
    const auto top = [&](const QString &name) { return scene.item(name).mapToScene({}).y(); };
    const qreal status = top(u"liveStatus"_s);
    const qreal spinner = top(u"liveSpinner"_s);
    scene.engine->sendPiece(u"{\"action\":"_s);
    QTRY_VERIFY(scene.find(u"livePreview"_s));
    QTest::qWait(50);
    QCOMPARE(top(u"liveStatus"_s), status);
    QCOMPARE(top(u"liveSpinner"_s), spinner);
    scene.engine->releaseGeneration();
    QTRY_VERIFY(!scene.session->isRunning());
}

void tst_History::spinnersTurnAsOne()
{
    HistoryScene scene;
    scene.session->setTurns({turnOf(
        u"Task"_s, {{.text = u"One"_s, .running = true}, {.text = u"Two"_s, .running = true}})});
    QTRY_COMPARE(scene.all(u"lineSpinner"_s).size(), 2);
    const QList<QQuickItem *> spinners = scene.all(u"lineSpinner"_s);
    const int before = spinners[0]->property("turn").toInt();
    QTRY_VERIFY(spinners[0]->property("turn").toInt() != before);
    QCOMPARE(spinners[1]->property("turn"), spinners[0]->property("turn"));
    // Reduced motion stops the spinners.
    scene.setLook({.hasReducedMotion = true});
    const int still = spinners[0]->property("turn").toInt();
    QTest::qWait(300);
    QCOMPARE(spinners[0]->property("turn").toInt(), still);
    scene.setLook({});
    QTRY_VERIFY(spinners[0]->property("turn").toInt() != still);
    // After replacing the turns, no invisible spinner is left.
    scene.session->setTurns({});
    QTRY_VERIFY(scene.all(u"lineSpinner"_s).isEmpty());
}

void tst_History::theStatusKeepsItsLinesAndThePreviewHasOne()
{
    HistoryScene scene;
    scene.engine->addReplies({uR"({"action":"trash","path":"a\nb\n\nc"})"_s});
    scene.engine->holdGenerations();
    scene.submit(u"Anything"_s);
    QTRY_COMPARE(scene.text(u"liveStatus"_s), u"Thinking…"_s);
    const double height = scene.item(u"liveStatus"_s).height();
    scene.engine->sendPiece(u"a\u2028b"_s);
    QTRY_COMPARE(scene.text(u"livePreview"_s), u"a b"_s);
    scene.engine->releaseGeneration();
    QTRY_COMPARE(scene.text(u"liveStatus"_s), u"Moving “a\nb\n\nc” to Trash"_s);
    QTRY_VERIFY(scene.item(u"liveStatus"_s).height() > 3 * height);
    QTRY_VERIFY(scene.item(u"live"_s).height() >= scene.item(u"liveStatus"_s).height());
    scene.key(Qt::Key_Escape);
    QTRY_VERIFY(!scene.session->isRunning());
}

void tst_History::textIsSelectedAndCopied()
{
    HistoryScene scene;
    scene.session->setTurns({turnOf(u"Open Mail"_s, {{.text = u"Launching Mail"_s}})});
    QTRY_VERIFY(scene.find(u"lineText"_s));
    const QQuickItem &text = scene.item(u"lineText"_s);
    const QPoint start = text.mapToScene({1, text.height() / 2}).toPoint();
    QTest::mouseDClick(scene.window.get(), Qt::LeftButton, Qt::NoModifier, start + QPoint(5, 0));
    QTRY_COMPARE(text.property("selectedText"), u"Launching"_s);
    scene.key(Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QGuiApplication::clipboard()->text(), u"Launching"_s);
    // The text is read-only.
    scene.key(Qt::Key_X);
    QCOMPARE(text.property("text"), u"Launching Mail"_s);
    QVERIFY(text.property("readOnly").toBool());
}

void tst_History::aTurnIsCopiedByKeys()
{
    HistoryScene scene;
    scene.session->setTurns({turnOf(u"Open Mail"_s, {{.text = u"Launching Mail"_s}}, u"Done"_s),
                             turnOf(u"Open Music"_s, {})});
    QTRY_COMPARE(scene.all(u"turn"_s).size(), 2);
    scene.key(Qt::Key_Tab);
    QVERIFY(scene.hasFocus(u"turn"_s));
    scene.key(Qt::Key_Up);
    scene.key(Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QGuiApplication::clipboard()->text(), u"Open Mail\nLaunching Mail\nDone"_s);
}

void tst_History::aNewLineLeavesTheChosenTurn()
{
    HistoryScene scene;
    scene.session->setTurns(manyTurns(3));
    scene.engine->addReplies({Say::listWindows, Say::done()});
    scene.engine->holdGenerations();
    scene.submit(u"The fourth"_s);
    QTRY_COMPARE(scene.list().property("currentIndex").toInt(), 3);
    scene.list().forceActiveFocus(Qt::TabFocusReason);
    scene.key(Qt::Key_Up);
    QCOMPARE(scene.list().property("currentIndex").toInt(), 2);
    scene.engine->releaseGeneration();
    QTRY_COMPARE(scene.session->turns().last().log.size(), 1);
    QTRY_VERIFY(scene.engine->isGenerating());
    QCOMPARE(scene.list().property("currentIndex").toInt(), 2);
    scene.engine->releaseGeneration();
    QTRY_VERIFY(!scene.session->isRunning());
}

void tst_History::clearsByTheShortcut()
{
    HistoryScene scene;
    scene.run(u"Which windows are open?"_s, {Say::listWindows, Say::done()});
    QVERIFY(scene.hasFocus(u"commandField"_s));
    // Some text fields use this key to delete to the end of the line.
    scene.type(u"next task"_s);
    scene.key(Qt::Key_Home);
    scene.key(Qt::Key_K, Qt::ControlModifier);
    QVERIFY(scene.session->turns().isEmpty());
    QCOMPARE(scene.typed(), u"next task"_s);
    QTRY_VERIFY(scene.find(u"suggestions"_s));
}

void tst_History::doesNotClearWhileATaskRuns()
{
    HistoryScene scene;
    scene.engine->addReplies({Say::done()});
    scene.engine->holdGenerations();
    scene.submit(u"Anything"_s);
    scene.key(Qt::Key_K, Qt::ControlModifier);
    QCOMPARE(scene.session->turns().size(), 1);
    scene.engine->releaseGeneration();
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.session->turns().size(), 1);
}

void tst_History::nothingMovesWhileNothingHappens()
{
    HistoryScene scene;
    scene.run(u"Which windows are open?"_s, {Say::listWindows, Say::done()});
    // An idle panel may only paint the blinking cursor.
    scene.key(Qt::Key_Tab);
    QVERIFY(!scene.hasFocus(u"commandField"_s));
    QTest::qWait(500);
    int frames = 0;
    connect(scene.window.get(), &QQuickWindow::frameSwapped, this, [&frames] { ++frames; });
    QTest::qWait(700);
    QCOMPARE(frames, 0);
}

PANEL_TEST_MAIN(tst_History)

#include "tst_History.moc"
