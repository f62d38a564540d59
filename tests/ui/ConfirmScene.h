#pragma once

#include "tests/support/Waiting.h"
#include "tests/trust/HostileTexts.h"
#include "tests/ui/PanelTest.h"

using Qt::StringLiterals::operator""_s;

/// A wait that no test outlasts.
constexpr int forEver = 1'000'000;

/// A panel with a risky step that waits for approval.
struct ConfirmScene : PanelScene
{
    ConfirmScene()
    {
        QFile old(home.filePath(u"home/old.zip"_s));
        if (!old.open(QIODevice::WriteOnly))
            qFatal("The file to be moved cannot be made.");
        card = itemAnywhere(u"confirmCard"_s);
        if (card == nullptr)
            qFatal("There is no confirm card.");
    }

    /// Runs a task until the question. The card accepts approval after so many milliseconds.
    void ask(int wait = 0)
    {
        card->setProperty("wait", wait);
        engine->addReplies({Say::trashOld});
        submit(u"Tidy up"_s);
        QVERIFY(QTest::qWaitFor([this] { return sessionView->isPending(); }, eventually));
        if (wait == 0)
            QVERIFY(QTest::qWaitFor([this] { return isReady(); }, eventually));
    }
    [[nodiscard]] bool isReady() const { return card->property("isReady").toBool(); }
    void press(Qt::Key key, const QString &text, bool isRepeated) const
    {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier, text, isRepeated);
        QCoreApplication::sendEvent(window.get(), &event);
    }
    /// Runs a task until the question about that path or script.
    void askAbout(const QString &action, const QString &key, const QString &value, int wait = 0)
    {
        card->setProperty("wait", wait);
        engine->addReplies({replyOf(action, key, value)});
        submit(u"Tidy up"_s);
        QVERIFY(QTest::qWaitFor([this] { return sessionView->isPending(); }, eventually));
    }
    /// The rendered reason.
    [[nodiscard]] QImage drawnReason() const
    {
        const QQuickItem &view = item(u"confirmReasonView"_s);
        return grab().copy(view.mapRectToScene(view.boundingRect()).toAlignedRect());
    }
    /// The rendered question about trashing that path.
    QImage drawn(const QString &path)
    {
        session->setTurns({});
        askAbout(u"trash"_s, u"path"_s, path);
        const QImage image = drawnReason();
        key(Qt::Key_Escape);
        waitUntilIdle();
        return image;
    }
    void decline()
    {
        key(Qt::Key_Escape);
        waitUntilIdle();
        QVERIFY(wasDeclined());
    }
    void waitUntilIdle() const { QTRY_VERIFY(!session->isRunning()); }
    [[nodiscard]] bool wasAllowed() const { return platform.fakeWorkspace.trashed.size() == 1; }
    [[nodiscard]] bool wasDeclined() const
    {
        return platform.fakeWorkspace.trashed.isEmpty() &&
               session->turns().last().summary == u"I didn't do that, as requested."_s;
    }

    QQuickItem *card = nullptr;
};
