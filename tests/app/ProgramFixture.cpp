#include "tests/app/ProgramFixture.h"

#include "models/LocalModel.h"
#include "tests/support/TestModel.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

const QString ProgramFixture::program = u"" QUILLON_PROGRAM ""_s;

QStringList ProgramFixture::taskArguments(const QString &task)
{
    return {u"--task"_s, task};
}

void ProgramFixture::giveModel(const QStringList &replies) const
{
    writeModel(m_home->modelPath(LocalModel::catalog().first().fileName), replies);
}

void ProgramFixture::writeModel(const QString &path, const QStringList &replies)
{
    QList<QByteArray> texts;
    for (const QString &reply : replies)
        texts << reply.toUtf8();
    if (!QDir().mkpath(QFileInfo(path).path()))
        qFatal("The folder of the model cannot be created.");
    TestModel::saying(texts).write(path);
}

QString ProgramFixture::installed() const
{
    const QString copy = m_home->path(u"installed/bin/quillon"_s);
    if (!QDir().mkpath(QFileInfo(copy).path()) || !QFile::copy(program, copy))
        qFatal("The program cannot be copied.");
    return copy;
}

QString ProgramFixture::smallModelPath() const
{
#ifdef Q_OS_MACOS
    return m_home->path(u"installed/Resources/small-model.gguf"_s);
#else
    return m_home->path(u"installed/share/quillon/small-model.gguf"_s);
#endif
}
