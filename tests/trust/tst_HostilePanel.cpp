// The real panel must show hostile texts, and a model's replies to them, as plain characters.

#include "agent/ShownReason.h"
#include "base/ShownText.h"
#include "executor/Pause.h"
#include "tests/support/Waiting.h"
#include "tests/trust/HostileTexts.h"
#include "tests/ui/PanelTest.h"
#include "ui/PreviewTail.h"

#include <QQuickTextDocument>
#include <QRegularExpression>
#include <QTextDocument>
#include <QTextFormat>
#include <QTextFrame>

using namespace Qt::StringLiterals;

namespace {
// Selectable texts convert spaces.
QString asLines(const QString &text)
{
    return ShownText::plain(text).replace(u'\u00a0', u' ');
}

// The activity is always one line.
QString asOneLine(QString text)
{
    static const QRegularExpression lineEnds(u"[\\n\\v\\f\\r\\x{85}\\x{2028}\\x{2029}]+"_s);
    return ShownText::plain(text.replace(lineEnds, u" "_s));
}
} // namespace

class tst_HostilePanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_scene = std::make_unique<PanelScene>(); }
    void cleanupTestCase() { m_scene.reset(); }
    void init();

    void whatIsShownIsPlainText_data();
    void whatIsShownIsPlainText();
    void whatIsDrawnIsWhatIsThere_data();
    void whatIsDrawnIsWhatIsThere();
    void aMegabyteIsShownInTime();

private:
    /// Whether all texts in the panel, visible or not, are plain text.
    [[nodiscard]] bool isPlain() const;
    [[nodiscard]] QStringList shown(const QString &name) const;
    /// The picture of the item with that name.
    [[nodiscard]] QImage drawn(const QString &name) const
    {
        const QQuickItem &item = m_scene->item(name);
        return m_scene->grab().copy(item.mapRectToScene(item.boundingRect()).toAlignedRect());
    }
    /// The pictures of the text as a task, as a step, as its summary, and as a preview of the
    /// reply.
    [[nodiscard]] QList<QImage> drawnTask(const QString &text);
    void start(const QString &task, const QStringList &replies);

    const Executor::PauseOverride m_noPauses{[](std::chrono::milliseconds, const auto &) {}};
    std::unique_ptr<PanelScene> m_scene;
};

void tst_HostilePanel::init()
{
    m_scene->session->setTurns({});
    QTRY_COMPARE(m_scene->all(u"turn"_s).size(), 0);
}

bool tst_HostilePanel::isPlain() const
{
    const QList<QQuickItem *> texts = m_scene->allTexts();
    for (QQuickItem *const item : texts) {
        if (item->property("textFormat").toInt() != Qt::PlainText)
            return false;
        const auto *const source = item->property("textDocument").value<QQuickTextDocument *>();
        if (!source)
            continue;
        // It has no images, tables, lists or links.
        const QTextDocument &document = *source->textDocument();
        if (!document.rootFrame()->childFrames().isEmpty())
            return false;
        for (const QTextFormat &format : document.allFormats()) {
            if (format.isImageFormat() || format.isListFormat() || format.isTableFormat() ||
                format.hasProperty(QTextFormat::AnchorHref))
                return false;
        }
    }
    return !texts.isEmpty();
}

QStringList tst_HostilePanel::shown(const QString &name) const
{
    QStringList texts;
    for (QQuickItem *const item : m_scene->all(name))
        texts << item->property("text").toString();
    return texts;
}

void tst_HostilePanel::start(const QString &task, const QStringList &replies)
{
    for (const QString &reply : replies)
        m_scene->engine->addReplies({reply});
    m_scene->session->submit(task);
    QTRY_VERIFY(!m_scene->session->isRunning() || m_scene->session->pending());
}

void tst_HostilePanel::whatIsShownIsPlainText_data()
{
    QTest::addColumn<qsizetype>("index");
    for (qsizetype i = 0; i < hostileTexts().size(); ++i)
        QTest::newRow(hostileTexts()[i].name) << i;
}

void tst_HostilePanel::whatIsShownIsPlainText()
{
    QFETCH(const qsizetype, index);
    const HostileText &hostile = hostileTexts()[index];
    PanelScene &scene = *m_scene;
    scene.engine->setPieceLength(10'000);
    scene.platform.fakeWorkspace.front = Application{.pid = ProcessId{7}, .name = hostile.front};

    // The text is the task, is typed, is in the final message, and is asked about.
    start(hostile.text, {replyOf(u"type_text"_s, u"text"_s, hostile.text),
                         replyOf(u"done"_s, u"message"_s, hostile.text)});
    QTRY_VERIFY(!scene.session->isRunning());
    const Turn turn = scene.session->turns().constFirst();
    QTRY_COMPARE(shown(u"turnCommand"_s), QStringList{asLines(turn.command)});
    QStringList lines;
    for (const LogEntry &line : turn.log)
        lines << asLines(line.text);
    QTRY_COMPARE(shown(u"lineText"_s), lines);
    if (turn.summary)
        QTRY_COMPARE(shown(u"turnSummary"_s), QStringList{asLines(*turn.summary)});
    QVERIFY(isPlain());

    if (hostile.reason.isEmpty())
        return;
    scene.session->setTurns({});
    start(u"Obey"_s, {hostile.obeyed});
    QTRY_VERIFY(scene.session->pending());
    QCOMPARE(scene.session->pending()->reason, hostile.reason);
    QTRY_COMPARE(shown(u"confirmReason"_s), QStringList{shownReason(*scene.session->pending())});
    if (!hostile.shown.isEmpty())
        QCOMPARE(shown(u"confirmReason"_s), QStringList{hostile.shown});
    QTRY_COMPARE(shown(u"lineText"_s),
                 QStringList{asLines(scene.session->turns().constFirst().log.constFirst().text)});
    QCOMPARE(shown(u"liveStatus"_s), QStringList{ShownText::plain(scene.session->status())});
    QVERIFY(isPlain());
    scene.session->resolve(false);
    QTRY_VERIFY(!scene.session->isRunning());
    QTRY_COMPARE(shown(u"lineText"_s),
                 QStringList{asLines(scene.session->turns().constFirst().log.constFirst().text)});
    QVERIFY(isPlain());

    // Also while it is generated.
    scene.engine->holdGenerations();
    scene.engine->addReplies({replyOf(u"done"_s)});
    scene.session->submit(u"Go on"_s);
    QTRY_VERIFY(scene.engine->isGenerating());
    scene.engine->sendPiece(hostile.text);
    QTRY_COMPARE(shown(u"livePreview"_s), QStringList{asOneLine(previewTail(hostile.text))});
    QVERIFY(isPlain());
    scene.engine->stopHoldingGenerations();
    QTRY_VERIFY(!scene.session->isRunning());
    QVERIFY(scene.platform.fakeWorkspace.trashed.isEmpty());
}

QList<QImage> tst_HostilePanel::drawnTask(const QString &text)
{
    PanelScene &scene = *m_scene;
    scene.session->setTurns({});
    start(text, {replyOf(u"type_text"_s, u"text"_s, text), replyOf(u"done"_s, u"message"_s, text)});
    const auto isShown = [&] { return shown(u"turnSummary"_s) == QStringList(asLines(text)); };
    if (!QTest::qWaitFor(isShown, eventually))
        return {};
    QList<QImage> images{drawn(u"turnCommand"_s), drawn(u"lineText"_s), drawn(u"turnSummary"_s)};
    scene.session->setTurns({});
    scene.engine->holdGenerations();
    scene.engine->addReplies({replyOf(u"done"_s)});
    scene.session->submit(u"Go on"_s);
    const auto goesOn = [&] { return scene.engine->isGenerating(); };
    if (!QTest::qWaitFor(goesOn, eventually))
        return {};
    scene.engine->sendPiece(text);
    const auto isSeen = [&] { return shown(u"livePreview"_s) == QStringList(asOneLine(text)); };
    if (!QTest::qWaitFor(isSeen, eventually))
        return {};
    images.append(drawn(u"livePreview"_s));
    scene.engine->stopHoldingGenerations();
    return QTest::qWaitFor([&] { return !scene.session->isRunning(); }, eventually)
               ? images
               : QList<QImage>();
}

void tst_HostilePanel::whatIsDrawnIsWhatIsThere_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("looksLike");
    QTest::newRow("an overridden direction")
        << u"invoice\u202egpj.exe"_s << u"invoice\ufffdgpj.exe"_s;
    QTest::newRow("isolates") << u"a\u2067b c\u2069d"_s << u"a\ufffdb c\ufffdd"_s;
    QTest::newRow("nothing between letters") << u"Docu\u200bments"_s << u"Docu\ufffdments"_s;
    QTest::newRow("many marks") << u"Z"_s + u"\u0336"_s.repeated(9)
                                << u"Z\u0336\u0336\u0336\u0336\ufffd\ufffd\ufffd\ufffd\ufffd"_s;
}

void tst_HostilePanel::whatIsDrawnIsWhatIsThere()
{
    QFETCH(const QString, text);
    QFETCH(const QString, looksLike);
    const QList<QImage> expected = drawnTask(looksLike);
    QCOMPARE(expected.size(), 4);
    const QList<QImage> actual = drawnTask(text);
    const QList<QImage> other = drawnTask(u"something else"_s);
    for (qsizetype i = 0; i < expected.size(); ++i) {
        QCOMPARE(actual.value(i), expected[i]);
        QVERIFY(other.value(i) != expected[i]);
    }
}

void tst_HostilePanel::aMegabyteIsShownInTime()
{
    // Texts that are longer than any reply: a system error, and a pasted task.
    const QString text = u"<b>no end</b> "_s.repeated(75'000);
    m_scene->platform.fakeScripts.outcome = ScriptError{text};
    start(text, {replyOf(u"applescript"_s, u"script"_s, u"beep"_s), replyOf(u"done"_s)});
    m_scene->session->resolve(true);
    QTRY_VERIFY(!m_scene->session->isRunning());
    QTRY_COMPARE(shown(u"lineText"_s).size(), 2);
    QVERIFY(shown(u"lineText"_s).constFirst() ==
            u"Running AppleScript — AppleScript error: "_s + text);
    QVERIFY(isPlain());
    QVERIFY(!m_scene->grab().isNull());
}

PANEL_TEST_MAIN(tst_HostilePanel)
#include "tst_HostilePanel.moc"
