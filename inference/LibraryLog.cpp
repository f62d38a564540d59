#include "inference/LibraryLog.h"

#include <QByteArray>
#include <QLoggingCategory>

namespace {
// Off by default: enabled for fatal messages only, which the library does not have.
Q_LOGGING_CATEGORY(llamaLog, "quillon.llama", QtFatalMsg)

struct Line
{
    QtMsgType type = QtInfoMsg;
    QByteArray text;
};

thread_local Line line;

void print(const Line &complete)
{
    switch (complete.type) {
    case QtDebugMsg:
        qCDebug(llamaLog, "%s", complete.text.constData());
        break;
    case QtInfoMsg:
        qCInfo(llamaLog, "%s", complete.text.constData());
        break;
    case QtWarningMsg:
        qCWarning(llamaLog, "%s", complete.text.constData());
        break;
    default:
        qCCritical(llamaLog, "%s", complete.text.constData());
        break;
    }
}
} // namespace

void LibraryLog::write(QtMsgType type, const char *text)
{
    line.type = type;
    append(text);
}

void LibraryLog::append(const char *text)
{
    if (!llamaLog().isEnabled(line.type)) {
        line.text.clear();
        return;
    }
    line.text += text;
    if (line.text.endsWith('\n')) {
        line.text.chop(1);
        print(line);
        line.text.clear();
    }
}
