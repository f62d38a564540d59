#include "platform/macos/MacInstance.h"

#include <QDir>
#include <QTest>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

// What needs Cocoa is not called here.
MacInstance::MacInstance(std::function<bool()>) {}
bool MacInstance::claim(std::function<void(Request)>)
{
    return false;
}
Instance::Answer MacInstance::handOver(Request)
{
    return Answer::notRunning;
}

class tst_MacLoginItem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theAgentStartsTheProgramAtLogin();
};

void tst_MacLoginItem::theAgentStartsTheProgramAtLogin()
{
    const QString program = u"/Users/a & <b>/Quillon.app/Contents/MacOS/Quillon"_s;
    const Instance::LoginItem item = MacInstance().loginItem(program, u"--background"_s);
    QCOMPARE(item.path, QDir::homePath() + u"/Library/LaunchAgents/app.quillon.Quillon.plist"_s);

    QXmlStreamReader xml(item.content);
    QStringList words;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == u"key" || xml.name() == u"string")
            words << xml.readElementText();
        else if (xml.name() == u"true")
            words << u"yes"_s;
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    const QStringList expected{u"Label"_s,
                               u"app.quillon.Quillon"_s,
                               u"LimitLoadToSessionType"_s,
                               u"Aqua"_s,
                               u"ProcessType"_s,
                               u"Interactive"_s,
                               u"ProgramArguments"_s,
                               program,
                               u"--background"_s,
                               u"RunAtLoad"_s,
                               u"yes"_s};
    QCOMPARE(words, expected);
}

QTEST_APPLESS_MAIN(tst_MacLoginItem)
#include "tst_MacLoginItem.moc"
