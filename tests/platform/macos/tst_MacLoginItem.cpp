#include "platform/macos/MacInstance.h"

#include <QDir>
#include <QTest>
#include <QXmlStreamReader>

#include <utility>

using namespace Qt::StringLiterals;

// What needs Cocoa is not called here.
MacInstance::MacInstance(std::function<bool()> ownsHotKey) : m_ownsHotKey(std::move(ownsHotKey)) {}
bool MacInstance::claim(std::function<void(Request)>)
{
    return false;
}
Instance::Answer MacInstance::handOver(Request)
{
    return Answer::notRunning;
}

// The keys and values of a property list, and what is wrong with it.
static QStringList textsIn(const QByteArray &list)
{
    QStringList texts;
    QXmlStreamReader xml(list);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == u"key" || xml.name() == u"string")
            texts.append(xml.readElementText());
        else if (xml.name() == u"true")
            texts.append(u"yes"_s);
    }
    if (xml.hasError())
        texts.append(xml.errorString());
    return texts;
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
    QCOMPARE(textsIn(item.content), expected);
}

QTEST_APPLESS_MAIN(tst_MacLoginItem)
#include "tst_MacLoginItem.moc"
