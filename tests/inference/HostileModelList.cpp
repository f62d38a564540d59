#include "tests/inference/HostileModelList.h"

#include <QTemporaryDir>

#include <gguf.h>

#include <random>

using namespace Qt::StringLiterals;

namespace {
// The number of tokens determines the length of the rows.
TestModel modelOf(int pieces)
{
    TestModel::Reply reply;
    for (int i = 0; i < pieces; ++i)
        reply.pieces.append("word" + QByteArray::number(i) + ' ');
    TestModel model;
    model.replies = {reply};
    model.alphabet = "abcdefghijklmnopqrstuvwxyz ABC.\n";
    return model;
}

GgufFile parsed(const TestModel &model)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"good.gguf"_s);
    model.write(path);
    return GgufFile::read(path);
}
} // namespace

TestModel HostileModels::good()
{
    return modelOf(26);
}

const GgufFile &HostileModels::narrow()
{
    static const GgufFile file = parsed(good());
    return file;
}

const GgufFile &HostileModels::wide()
{
    static const GgufFile file = parsed(modelOf(250));
    return file;
}

QByteArray HostileModels::noiseBytes(std::size_t count)
{
    std::mt19937 random(3);
    QByteArray bytes(static_cast<qsizetype>(count), '\0');
    for (char &each : bytes)
        each = static_cast<char>(random());
    return bytes;
}

void HostileModels::setText(GgufFile &file, const QByteArray &key, const QByteArray &text)
{
    file.set(key, GGUF_TYPE_STRING, GgufFile::text(text));
}
