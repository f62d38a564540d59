#include "app/QuillonApp.h"

#include "tests/support/FakePlatform.h"
#include "tests/support/Waiting.h"

#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_QuillonApp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void viewsThatCannotBeLoadedFailWithTheirFirstProblem();
    void whatTheFirstFrameDoesNotNeedFollowsFromTheEventLoop();
    void aKeyThatIsOursNeedsNoStatusItem_data();
    void aKeyThatIsOursNeedsNoStatusItem();

private:
    [[nodiscard]] QuillonApp::Views views(const QByteArray &qml) const
    {
        QFile file(m_folder.filePath(u"Root.qml"_s));
        if (!file.open(QIODevice::WriteOnly) || file.write(qml) != qml.size())
            qFatal("The view cannot be written.");
        return {
            .rootFile = QUrl::fromLocalFile(file.fileName()),
            .prepare = [](QQmlEngine &, ModelManager &, AgentSession &) { return QVariantMap(); }};
    }

    [[nodiscard]] static QString failure(const QuillonApp::Views &views)
    {
        try {
            const QuillonApp app(views);
        } catch (const PanelError &error) {
            return QString::fromUtf8(error.what());
        }
        return u"It did not fail."_s;
    }

    QTemporaryDir m_folder;
};

void tst_QuillonApp::viewsThatCannotBeLoadedFailWithTheirFirstProblem()
{
    const FakePlatform platform;
    const QString told = failure(views("import QtQuick\nWindow { nothing: 1 }\n"));
    QVERIFY2(told.startsWith(u"Quillon's panel cannot be shown: file:"_s), qPrintable(told));
    QVERIFY2(told.contains(u"Root.qml:2"_s), qPrintable(told));
}

void tst_QuillonApp::whatTheFirstFrameDoesNotNeedFollowsFromTheEventLoop()
{
    FakePlatform platform;
    platform.fakeHotKey.isTaken = true;
    QuillonApp app(views("import QtQuick\nWindow { property QtObject panel }\n"));
    app.launch(AppDelegate::Start::hidden);
    QVERIFY(platform.fakeShell.calls.contains(u"register"_s));
    QCOMPARE(platform.fakeKeyboard.recoveries, 0);
    QVERIFY(!platform.fakeShell.clickStatusItem);
    QTRY_COMPARE(platform.fakeKeyboard.recoveries, 1);
    QVERIFY(platform.fakeShell.clickStatusItem);
}

void tst_QuillonApp::aKeyThatIsOursNeedsNoStatusItem_data()
{
    QTest::addColumn<bool>("isTaken");
    QTest::addColumn<bool>("hasNotifier");

    QTest::newRow("ours") << false << true;
    // As on macOS: the icon in the Dock shows the panel.
    QTest::newRow("taken, in a system without status items") << true << false;
}

void tst_QuillonApp::aKeyThatIsOursNeedsNoStatusItem()
{
    QFETCH(const bool, isTaken);
    QFETCH(const bool, hasNotifier);
    FakePlatform platform;
    platform.fakeHotKey.isTaken = isTaken;
    platform.fakeShell.hasNotifier = hasNotifier;
    QuillonApp app(views("import QtQuick\nWindow { property QtObject panel }\n"));
    app.launch(AppDelegate::Start::hidden);
    QTRY_COMPARE(platform.fakeKeyboard.recoveries, 1);
    QVERIFY(!platform.fakeShell.clickStatusItem);
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    const QGuiApplication application(argc, argv);
    tst_QuillonApp test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_QuillonApp.moc"
