#include "tests/support/ProgramHome.h"

#include "tests/support/Files.h"

#include <QDateTime>
#include <QDir>

using namespace Qt::StringLiterals;

namespace {
#ifdef Q_OS_MACOS
const QString dataFolder = u"Library/Application Support"_s;
const QString trash = u".Trash"_s;
#else
const QString dataFolder = u"data"_s;
const QString trash = u"data/Trash/files"_s;
#endif
} // namespace

ProgramHome::ProgramHome()
{
    for (const QString &folder : {u"Downloads"_s, u"Desktop"_s, dataFolder}) {
        if (!QDir().mkpath(path(folder)))
            qFatal("The home folder cannot be created.");
    }
}

QString ProgramHome::path(const QString &relative) const
{
    return QDir(m_folder.path()).filePath(relative);
}

QString ProgramHome::dataPath(const QString &relative) const
{
    return path(dataFolder + u'/' + relative);
}

QString ProgramHome::modelPath(const QString &fileName) const
{
    return dataPath(u"Quillon/Models/"_s + fileName);
}

QStringList ProgramHome::modelFiles() const
{
    return Files::names(dataPath(u"Quillon/Models"_s));
}

QString ProgramHome::trashedPath(const QString &fileName) const
{
    return path(trash + u'/' + fileName);
}

void ProgramHome::touch(const QString &relative, qint64 secondsAgo) const
{
    QFile file(path(relative));
    QVERIFY(QDir().mkpath(QFileInfo(file).path()));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("content");
    QVERIFY(file.flush());
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-secondsAgo),
                             QFileDevice::FileModificationTime));
}

Program::Options ProgramHome::options(Program::Input input) const
{
    Program::Options options{.environment = {{u"HOME"_s, path()},
                                             {u"CFFIXED_USER_HOME"_s, path()}, // used by macOS
                                             {u"XDG_DATA_HOME"_s, path(dataFolder)},
                                             {u"XDG_CONFIG_HOME"_s, path(u"config"_s)},
                                             {u"XDG_CACHE_HOME"_s, path(u"cache"_s)},
                                             {u"LC_ALL"_s, u"C.UTF-8"_s}},
                             .input = input,
                             .hasNetwork = false};
    for (const QString &name : {u"PATH"_s, u"ASAN_OPTIONS"_s, u"LSAN_OPTIONS"_s, u"TSAN_OPTIONS"_s})
        options.environment[name] = qEnvironmentVariable(name.toUtf8().constData());
    return options;
}
