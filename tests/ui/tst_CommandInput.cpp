#include "tests/support/Waiting.h"
#include "tests/ui/ViewModels.h"
#include "ui/CommandInput.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const QString done = uR"({"action":"done"})"_s;

struct Scene : ViewModels
{
    explicit Scene(Model model = Model::loaded) : ViewModels(model)
    {
        input.setSession(sessionView.get());
        input.setModels(modelsView.get());
    }

    void send(const QString &text)
    {
        engine->addReplies({done});
        input.setText(text);
        input.send();
        QTRY_VERIFY(!session->isRunning());
    }

    CommandInput input;
};
} // namespace

class tst_CommandInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void suggestsFourTasks();
    void sendsTheTextAsTyped();
    void keepsTheTextWhileNoModelIsLoaded_data();
    void keepsTheTextWhileNoModelIsLoaded();
    void losesTheTextToARunningTask();
    void canSendATextToALoadedModel();
    void recallsEarlierTasks();
    void recallingStopsAtBothEnds();
    void keepsTheDraftWhileRecalling();
    void aChangedTaskIsADraft();
    void remembersEachTaskOnceInARow();
    void remembersAHundredTasks();
    void forgetsWithTheHistory();
    void recallsNothingBeforeTheFirstTask();
    void worksWithoutSessionAndModels();
};

void tst_CommandInput::suggestsFourTasks()
{
    QCOMPARE(CommandInput::suggestions(),
             QStringList({u"Open Safari and search Google for MacBook Air"_s,
                          u"Open Finder and create a folder called Projects"_s,
                          u"Take a screenshot and save it to Downloads"_s,
                          u"Open my Downloads folder and find the latest PDF"_s}));
}

void tst_CommandInput::sendsTheTextAsTyped()
{
    Scene scene;
    const QSignalSpy changes(&scene.input, &CommandInput::textChanged);
    scene.send(u"  Open Mail "_s);
    QCOMPARE(scene.input.text(), QString());
    QCOMPARE(changes.size(), 2);
    QCOMPARE(scene.session->turns().size(), 1);
    // The session trims, not the field: the recalled text is the typed one.
    QCOMPARE(scene.session->turns().first().command, u"Open Mail"_s);
    scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), u"  Open Mail "_s);
}

void tst_CommandInput::keepsTheTextWhileNoModelIsLoaded_data()
{
    QTest::addColumn<bool>("isPresent");
    QTest::newRow("needs a download") << false;
    QTest::newRow("ready") << true;
}

void tst_CommandInput::keepsTheTextWhileNoModelIsLoaded()
{
    QFETCH(const bool, isPresent);
    Scene scene(isPresent ? Scene::Model::present : Scene::Model::missing);
    scene.input.setText(u"Open Mail"_s);
    QVERIFY(!scene.input.canSend());
    scene.input.send();
    QCOMPARE(scene.input.text(), u"Open Mail"_s);
    QVERIFY(scene.session->turns().isEmpty());
    scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), u"Open Mail"_s);
}

void tst_CommandInput::losesTheTextToARunningTask()
{
    Scene scene;
    scene.engine->holdGenerations();
    scene.engine->addReplies({done});
    scene.input.setText(u"Open Mail"_s);
    scene.input.send();
    scene.input.setText(u"Open Music"_s);
    scene.input.send();
    QCOMPARE(scene.input.text(), QString());
    QCOMPARE(scene.session->turns().size(), 1);
    // It can be recalled.
    scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), u"Open Music"_s);
    scene.engine->releaseGeneration();
    QTRY_VERIFY(!scene.session->isRunning());
}

void tst_CommandInput::canSendATextToALoadedModel()
{
    Scene scene(Scene::Model::present);
    const QSignalSpy changes(&scene.input, &CommandInput::canSendChanged);
    scene.input.setText(u"Open Mail"_s);
    QVERIFY(!scene.input.canSend());
    scene.modelsView->loadIfNeeded();
    QTRY_VERIFY(scene.input.canSend());
    QVERIFY(changes.size() >= 2);
    scene.input.setText(u" \n"_s);
    QVERIFY(!scene.input.canSend());
}

void tst_CommandInput::recallsEarlierTasks()
{
    Scene scene;
    scene.send(u"one"_s);
    scene.send(u"two"_s);
    scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), u"two"_s);
    scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), u"one"_s);
    scene.input.recallLater();
    QCOMPARE(scene.input.text(), u"two"_s);
    scene.input.recallLater();
    QCOMPARE(scene.input.text(), QString());
}

void tst_CommandInput::recallingStopsAtBothEnds()
{
    Scene scene;
    scene.send(u"one"_s);
    scene.input.recallLater();
    QCOMPARE(scene.input.text(), QString());
    for (int i = 0; i < 3; ++i)
        scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), u"one"_s);
}

void tst_CommandInput::keepsTheDraftWhileRecalling()
{
    Scene scene;
    scene.send(u"one"_s);
    scene.input.setText(u"draft"_s);
    scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), u"one"_s);
    scene.input.recallLater();
    QCOMPARE(scene.input.text(), u"draft"_s);
}

void tst_CommandInput::aChangedTaskIsADraft()
{
    Scene scene;
    scene.send(u"one"_s);
    scene.send(u"two"_s);
    scene.input.recallEarlier();
    scene.input.setText(u"two and more"_s);
    scene.input.recallLater();
    QCOMPARE(scene.input.text(), u"two and more"_s);
    scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), u"two"_s);
    scene.input.recallLater();
    QCOMPARE(scene.input.text(), u"two and more"_s);
}

void tst_CommandInput::remembersEachTaskOnceInARow()
{
    Scene scene;
    scene.send(u"one"_s);
    scene.send(u"two"_s);
    scene.send(u"two"_s);
    scene.send(u"  "_s);
    scene.input.recallEarlier();
    scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), u"one"_s);
}

void tst_CommandInput::remembersAHundredTasks()
{
    Scene scene;
    scene.engine->holdGenerations();
    for (int i = 0; i <= 100; ++i) {
        scene.input.setText(QString::number(i));
        scene.input.send();
    }
    for (int i = 0; i < 200; ++i)
        scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), u"1"_s);
    scene.sessionView->stop();
    scene.engine->releaseGeneration();
    QTRY_VERIFY(!scene.session->isRunning());
}

void tst_CommandInput::forgetsWithTheHistory()
{
    Scene scene;
    scene.send(u"one"_s);
    scene.sessionView->clearHistory();
    scene.input.recallEarlier();
    QCOMPARE(scene.input.text(), QString());
}

void tst_CommandInput::recallsNothingBeforeTheFirstTask()
{
    Scene scene;
    scene.input.setText(u"draft"_s);
    scene.input.recallEarlier();
    scene.input.recallLater();
    QCOMPARE(scene.input.text(), u"draft"_s);
}

void tst_CommandInput::worksWithoutSessionAndModels()
{
    CommandInput input;
    input.setText(u"Open Mail"_s);
    input.send();
    QCOMPARE(input.text(), u"Open Mail"_s);
    QVERIFY(!input.canSend());
}

QTEST_GUILESS_MAIN(tst_CommandInput)

#include "tst_CommandInput.moc"
