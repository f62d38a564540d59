#include "platform/linux/desktop/ChromiumProgram.h"

#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {
// Scripts that start programs are short.
constexpr qint64 mostScriptBytes = 64LL * 1024;

bool holdsResources(const QString &folder)
{
    return std::ranges::all_of(
        std::to_array({u"resources.pak"_s, u"chrome_100_percent.pak"_s, u"icudtl.dat"_s}),
        [&](const QString &name) { return QFileInfo::exists(folder + u'/' + name); });
}

// Checks the program's folder and the one above: some have the starting script in "bin".
bool isBesideResources(const QString &file)
{
    const QString folder = QFileInfo(file).path();
    return holdsResources(folder) || holdsResources(QFileInfo(folder).path());
}

// A script's text with its variables replaced by their values.
QString expanded(QString text)
{
    static const QRegularExpression assignment(u"^\\s*(\\w+)=[\"']?([^\"'\\s]*)"_s,
                                               QRegularExpression::MultilineOption);
    QMap<QString, QString> values;
    for (const QRegularExpressionMatch &match : assignment.globalMatch(text))
        values[match.captured(1)] = match.captured(2);
    for (int nesting = 0; nesting < 2; ++nesting) {
        for (const auto &[name, value] : values.asKeyValueRange()) {
            text.replace(u"${"_s + name + u'}', value);
            text.replace(QRegularExpression(u"\\$"_s + name + u"\\b"_s), value);
        }
    }
    return text;
}

bool startsOne(const QString &script)
{
    QFile file(script);
    if (!file.open(QIODevice::ReadOnly) || file.peek(2) != "#!")
        return false;
    static const QRegularExpression path(u"/[\\w.+/-]+"_s);
    for (const QRegularExpressionMatch &match :
         path.globalMatch(expanded(QString::fromUtf8(file.read(mostScriptBytes))))) {
        if (isBesideResources(match.captured()) || holdsResources(match.captured()))
            return true;
    }
    return false;
}

QStringView bare(QStringView word)
{
    return word.size() > 1 && word.startsWith(u'"') && word.endsWith(u'"')
               ? word.sliced(1, word.size() - 2)
               : word;
}
} // namespace

QString ChromiumProgram::openingOption()
{
    return u"--force-renderer-accessibility"_s;
}

bool ChromiumProgram::is(const QString &file)
{
    const QFileInfo info(file);
    const QString real = info.canonicalFilePath();
    return info.isFile() && (isBesideResources(real) || startsOne(real));
}

bool ChromiumProgram::isClosed(ProcessId process, const LinuxProcesses &processes)
{
    if (!is(processes.program(process)))
        return false;
    const QByteArray commandLine = processes.commandLine(process);
    return !commandLine.isEmpty() && !commandLine.contains(openingOption().toLatin1());
}

QString ChromiumProgram::opened(const QString &commandLine)
{
    // The program is the first word except for "env" and assignments of variables.
    static const QRegularExpression word(u"\"[^\"]*\"|\\S+"_s);
    for (const QRegularExpressionMatch &match : word.globalMatch(commandLine)) {
        const QString name = bare(match.capturedView()).toString();
        if (QFileInfo(name).fileName() == u"env" || name.contains(u'='))
            continue;
        const QString file = name.startsWith(u'/') ? name : QStandardPaths::findExecutable(name);
        if (!is(file) || commandLine.contains(openingOption()))
            return commandLine;
        return commandLine.first(match.capturedEnd()) + u' ' + openingOption() +
               commandLine.sliced(match.capturedEnd());
    }
    return commandLine;
}
