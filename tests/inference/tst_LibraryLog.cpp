#include "inference/LibraryLog.h"

#include <QLoggingCategory>
#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;

class tst_LibraryLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void isDisabledByDefault();
    void printsWholeLinesIfEnabled();
    void continuesALine();
    void keepsTheLinesOfThreadsApart();

private:
    static void collect(QtMsgType type, const QMessageLogContext &context, const QString &text);
    static inline QStringList s_lines;
    QtMessageHandler m_previous = nullptr;
};

void tst_LibraryLog::collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    s_lines << u"%1 %2 %3"_s.arg(QLatin1StringView(context.category)).arg(int(type)).arg(text);
}

void tst_LibraryLog::init()
{
    s_lines.clear();
    m_previous = qInstallMessageHandler(collect);
}

void tst_LibraryLog::cleanup()
{
    qInstallMessageHandler(m_previous);
    QLoggingCategory::setFilterRules({});
}

void tst_LibraryLog::isDisabledByDefault()
{
    for (const QtMsgType type : {QtDebugMsg, QtInfoMsg, QtWarningMsg, QtCriticalMsg})
        LibraryLog::write(type, "a line\n");
    QCOMPARE(s_lines, QStringList());
}

void tst_LibraryLog::printsWholeLinesIfEnabled()
{
    QLoggingCategory::setFilterRules(u"quillon.llama=true"_s);
    LibraryLog::write(QtDebugMsg, "d\n");
    LibraryLog::write(QtInfoMsg, "i\n");
    LibraryLog::write(QtWarningMsg, "w\n");
    LibraryLog::write(QtCriticalMsg, "100 % c\n");
    const QStringList expected{u"quillon.llama 0 d"_s, u"quillon.llama 4 i"_s,
                               u"quillon.llama 1 w"_s, u"quillon.llama 2 100 % c"_s};
    QCOMPARE(s_lines, expected);
}

void tst_LibraryLog::continuesALine()
{
    QLoggingCategory::setFilterRules(u"quillon.llama=true"_s);
    LibraryLog::write(QtInfoMsg, "loading ");
    LibraryLog::append(".");
    LibraryLog::append(".");
    QCOMPARE(s_lines, QStringList());
    LibraryLog::append("\n");
    QCOMPARE(s_lines, QStringList{u"quillon.llama 4 loading .."_s});
}

void tst_LibraryLog::keepsTheLinesOfThreadsApart()
{
    QLoggingCategory::setFilterRules(u"quillon.llama=true"_s);
    LibraryLog::write(QtInfoMsg, "mine ");
    std::thread([] { LibraryLog::write(QtInfoMsg, "another's\n"); }).join();
    LibraryLog::append("still mine\n");
    const QStringList expected{u"quillon.llama 4 another's"_s,
                               u"quillon.llama 4 mine still mine"_s};
    QCOMPARE(s_lines, expected);
}

QTEST_APPLESS_MAIN(tst_LibraryLog)
#include "tst_LibraryLog.moc"
