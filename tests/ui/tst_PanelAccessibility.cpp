#include "tests/support/HttpServer.h"
#include "tests/support/Waiting.h"
#include "tests/ui/PanelTest.h"

#include <QAccessible>
#include <QDir>
#include <QFile>
#include <QMetaEnum>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

using Kind = LogEntry::Kind;
using Model = PanelScene::Model;

namespace {
QString roleOf(const QAccessibleInterface &element)
{
    static const QMetaEnum names = QAccessible::staticMetaObject.enumerator(
        QAccessible::staticMetaObject.indexOfEnumerator("Role"));
    return QString::fromLatin1(names.valueToKey(element.role()));
}

/// Adds one line for each element of a screen reader: role, name, description, value, states.
void describe(QAccessibleInterface *element, int depth, QStringList &lines)
{
    if (element == nullptr || !element->isValid() || element->state().invisible)
        return;
    const QAccessible::State state = element->state();
    QString line = QString(qsizetype{2} * depth, u' ') + roleOf(*element);
    if (const QString name = element->text(QAccessible::Name); !name.isEmpty())
        line += u" “%1”"_s.arg(name);
    if (const QString description = element->text(QAccessible::Description); !description.isEmpty())
        line += u" (%1)"_s.arg(description);
    if (const auto *const value = element->valueInterface())
        line += u" = %1 of %2"_s.arg(value->currentValue().toDouble())
                    .arg(value->maximumValue().toDouble());
    if (state.focusable && element->role() != QAccessible::StaticText)
        line += u" focusable"_s;
    if (state.focused)
        line += u" focused"_s;
    if (state.checked)
        line += u" checked"_s;
    if (state.disabled)
        line += u" disabled"_s;
    if (state.readOnly)
        line += u" read-only"_s;
    if (const auto *const actions = element->actionInterface()) {
        if (actions->actionNames().contains(QAccessibleActionInterface::pressAction()))
            line += u" press"_s;
    }
    lines << line;
    for (int i = 0; i < element->childCount(); ++i)
        describe(element->child(i), depth + 1, lines);
}

QString section(const QString &title, const PanelScene &scene)
{
    // Lays everything out.
    static_cast<void>(scene.grab());
    QStringList lines{u"# "_s + title};
    describe(QAccessible::queryAccessibleInterface(scene.window.get()), 0, lines);
    return lines.join(u'\n') + u"\n\n"_s;
}

QAccessibleInterface *elementNamed(QAccessibleInterface *below, const QString &name,
                                   QAccessible::Role role)
{
    if (below->role() == role && below->text(QAccessible::Name) == name)
        return below;
    for (int i = 0; i < below->childCount(); ++i) {
        if (QAccessibleInterface *const found = elementNamed(below->child(i), name, role))
            return found;
    }
    return nullptr;
}
} // namespace

class tst_PanelAccessibility : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QAccessible::setActive(true); }

    void looksToAScreenReaderAsItDid();
    void everyControlHasANameAndAPress();
    void aScreenReaderIsToldOfNewLines();
    void aScreenReaderAnswersTheCard();
    void aScreenReaderChoosesAModel_data();
    void aScreenReaderChoosesAModel();
};

void tst_PanelAccessibility::looksToAScreenReaderAsItDid()
{
    QString tree;
    {
        PanelScene scene(Model::missing);
        scene.setTrusted(false);
        tree += section(u"Set-up"_s, scene);
    }
    {
        HttpServer server;
        server.setAnswer(u"/model.gguf"_s, {.body = QByteArray(10'000, 'x'), .holdAfter = 2500});
        LocalModel model = LocalModel::catalog().first();
        model.url = server.url(u"/model.gguf"_s);
        PanelScene scene(Model::missing);
        scene.manager->select(model);
        scene.click(u"modelPicker"_s);
        QTRY_VERIFY(scene.find(u"modelPickerRow1"_s));
        tree += section(u"The list of models is open"_s, scene);
        scene.key(Qt::Key_Escape);
        QTRY_VERIFY(!scene.find(u"modelPickerRow1"_s));
        scene.click(u"downloadButton"_s);
        QTRY_COMPARE(scene.modelsView->progress(), 0.25);
        tree += section(u"A model is on its way"_s, scene);
        scene.click(u"cancelDownloadButton"_s);
    }
    {
        PanelScene scene(Model::loading);
        tree += section(u"A model is being loaded"_s, scene);
        scene.engine->releaseLoad();
        QTRY_VERIFY(scene.modelsView->isLoaded());
        scene.click(u"modelMenuButton"_s);
        QTRY_VERIFY(scene.find(u"modelMenuItem1"_s));
        tree += section(u"The menu of models is open"_s, scene);
    }
    {
        const PanelScene scene(Model::unreadable);
        QTRY_VERIFY(scene.find(u"tryAgainButton"_s));
        tree += section(u"A model that cannot be loaded"_s, scene);
    }
    {
        PanelScene scene;
        tree += section(u"No history"_s, scene);
        Turn turn{.command = u"Find the latest PDF"_s};
        turn.log = {
            {.text = u"Opening ~/Nowhere — Nothing exists at ~/Nowhere."_s, .kind = Kind::failure},
            {.text = u"Searching Downloads"_s, .kind = Kind::step},
            {.text = u"Found report.pdf."_s, .kind = Kind::success}};
        turn.summary = u"Found report.pdf."_s;
        scene.session->setTurns({turn});
        scene.engine->addReplies({Say::trashOld});
        scene.engine->holdGenerations();
        scene.submit(u"Tidy up"_s);
        QTRY_VERIFY(scene.engine->isGenerating());
        scene.engine->sendPiece(u"{\"action\""_s);
        QTRY_VERIFY(scene.find(u"livePreview"_s));
        tree += section(u"A task is running"_s, scene);
        scene.engine->releaseGeneration();
        QTRY_VERIFY(scene.sessionView->isPending());
        tree += section(u"A step waits for approval"_s, scene);
        scene.sessionView->stop();
        QTRY_VERIFY(!scene.session->isRunning());
    }

    // Each scene has its own home folder.
    tree.replace(QRegularExpression(u"into /\\S+/Quillon/Models"_s), u"into MODELS-FOLDER"_s);

    QFile golden(u"" GOLDEN "/accessibility.txt"_s);
    QVERIFY(golden.open(QIODevice::ReadOnly));
    const QString expected = QString::fromUtf8(golden.readAll());
    QFile actual(u"" ACTUAL "/accessibility.txt"_s);
    QVERIFY(actual.open(QIODevice::WriteOnly));
    actual.write(tree.toUtf8());
    actual.close();
    QVERIFY2(
        tree == expected,
        qPrintable(u"%1 differs from %2; look at both, and copy it over where it is right."_s.arg(
            actual.fileName(), golden.fileName())));
}

void tst_PanelAccessibility::everyControlHasANameAndAPress()
{
    const PanelScene scene;
    QList<QAccessibleInterface *> left{QAccessible::queryAccessibleInterface(scene.window.get())};
    int controls = 0;
    while (!left.isEmpty()) {
        QAccessibleInterface *const element = left.takeFirst();
        for (int i = 0; i < element->childCount(); ++i)
            left << element->child(i);
        // Qt reports texts as focusable.
        if (element->state().invisible || !element->state().focusable ||
            element->role() == QAccessible::StaticText)
            continue;
        ++controls;
        QVERIFY2(!element->text(QAccessible::Name).isEmpty(),
                 qPrintable(element->object()->objectName()));
        if (element->role() != QAccessible::EditableText && element->role() != QAccessible::List) {
            QVERIFY2(element->actionInterface() &&
                         element->actionInterface()->actionNames().contains(
                             QAccessibleActionInterface::pressAction()),
                     qPrintable(element->object()->objectName()));
        }
    }
    QVERIFY(controls >= 8); // field, send, four suggestions, menu, two window buttons
}

void tst_PanelAccessibility::aScreenReaderIsToldOfNewLines()
{
    PanelScene scene;
    const auto announced = [&] { return scene.platform.fakeShell.calls.filter(u"announce "_s); };
    // A history that comes back is not new.
    Turn turn{.command = u"Find the latest PDF"_s};
    turn.log = {{.text = u"Searching Downloads"_s}};
    scene.session->setTurns({turn});
    scene.engine->holdGenerations();
    scene.engine->addReplies({Say::listWindows, uR"({"action":"open_path","path":"~/Nowhere"})"_s,
                              Say::done(u"All is <b>tidy</b>."_s)});
    scene.submit(u"Tidy up"_s);
    scene.engine->releaseGeneration();
    QTRY_COMPARE(announced(), QStringList{u"announce Looking at open windows"_s});
    scene.engine->stopHoldingGenerations();
    QTRY_VERIFY(!scene.session->isRunning());
    // A failed step is told again with the reason.
    QTRY_VERIFY(announced().last().endsWith(u"All is <b>tidy</b>."));
    const QString all = announced().join(u'\n');
    QVERIFY(all.contains(u"Opening ~/Nowhere — Nothing exists at ~/Nowhere."_s));
    QVERIFY(!all.contains(u"Searching Downloads"_s));
    // The element has the text, for screen readers that ask for it.
    QAccessibleInterface *const element =
        QAccessible::accessibleInterface(scene.platform.fakeShell.announced);
    QVERIFY(element);
    QCOMPARE(element->role(), QAccessible::Notification);
    QCOMPARE(u"announce "_s + element->text(QAccessible::Name), announced().last());
}

void tst_PanelAccessibility::aScreenReaderAnswersTheCard()
{
    PanelScene scene;
    QFile old(scene.home.filePath(u"home/old.zip"_s));
    QVERIFY(old.open(QIODevice::WriteOnly));
    scene.itemAnywhere(u"confirmCard"_s)->setProperty("wait", 0);
    scene.engine->addReplies({Say::trashOld, Say::done()});
    scene.submit(u"Tidy up"_s);
    QTRY_VERIFY(scene.itemAnywhere(u"confirmCard"_s)->property("isReady").toBool());
    QAccessibleInterface *const allow = elementNamed(
        QAccessible::queryAccessibleInterface(scene.window.get()), u"Allow"_s, QAccessible::Button);
    QVERIFY(allow);
    allow->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QTRY_VERIFY(!scene.session->isRunning());
    QCOMPARE(scene.platform.fakeWorkspace.trashed.size(), 1);
}

void tst_PanelAccessibility::aScreenReaderChoosesAModel_data()
{
    QTest::addColumn<Model>("model");
    QTest::addColumn<QAccessible::Role>("control");
    QTest::addColumn<QAccessible::Role>("choice");
    QTest::addColumn<QString>("name");
    QTest::newRow("from the card")
        << Model::missing << QAccessible::ComboBox << QAccessible::ListItem
        << u"Llama 3.2 3B Instruct — Smarter planning · ~2 GB"_s;
    QTest::newRow("from the menu") << Model::loaded << QAccessible::Button << QAccessible::MenuItem
                                   << u"Llama 3.2 3B Instruct"_s;
}

void tst_PanelAccessibility::aScreenReaderChoosesAModel()
{
    QFETCH(const Model, model);
    QFETCH(const QAccessible::Role, control);
    QFETCH(const QAccessible::Role, choice);
    QFETCH(const QString, name);
    PanelScene scene(model);
    const auto press = [&scene](const QString &what, QAccessible::Role role) {
        QAccessibleInterface *const element =
            elementNamed(QAccessible::queryAccessibleInterface(scene.window.get()), what, role);
        if (element == nullptr || !element->actionInterface())
            return false;
        element->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        return true;
    };
    QVERIFY(press(u"Model"_s, control));
    const QString row =
        choice == QAccessible::MenuItem ? u"modelMenuItem1"_s : u"modelPickerRow1"_s;
    QTRY_VERIFY(scene.find(row));
    QVERIFY(press(name, choice));
    QTRY_COMPARE(scene.manager->selected().id, u"llama3.2-3b"_s);
    QTRY_VERIFY(!scene.find(row));
}

PANEL_TEST_MAIN(tst_PanelAccessibility)

#include "tst_PanelAccessibility.moc"
