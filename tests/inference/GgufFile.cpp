#include "tests/inference/GgufFile.h"

#include <QFile>

#include <gguf.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace {
// Weights of each tensor begin at a multiple of this.
constexpr qsizetype alignment = 32;

void pad(QByteArray &bytes)
{
    bytes.append((alignment - bytes.size() % alignment) % alignment, '\0');
}

// Reads the metadata of a well-formed file.
class Reader
{
public:
    explicit Reader(QByteArray bytes) : m_bytes(std::move(bytes)) {}

    QByteArray take(std::uint64_t count)
    {
        const auto size = static_cast<qsizetype>(count);
        if (size < 0 || size > m_bytes.size() - m_at)
            throw std::runtime_error("a model file ends too early");
        m_at += size;
        return m_bytes.sliced(m_at - size, size);
    }

    template <typename Number>
    Number number()
    {
        Number result;
        const QByteArray bytes = take(sizeof result);
        std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char *>(&result));
        return result;
    }

    QByteArray text() { return take(number<std::uint64_t>()); }

    QByteArray value(std::uint32_t type)
    {
        const qsizetype start = m_at;
        skip(type);
        return m_bytes.sliced(start, m_at - start);
    }

    QByteArray weights(std::uint64_t offset, std::uint64_t size)
    {
        m_at = (m_front + alignment - 1) / alignment * alignment;
        (void)take(offset);
        return take(size);
    }

    void endFront() { m_front = m_at; }

private:
    void skip(std::uint32_t type)
    {
        if (type == GGUF_TYPE_STRING) {
            (void)text();
            return;
        }
        if (type != GGUF_TYPE_ARRAY) {
            (void)take(sizeOf(type));
            return;
        }
        const auto element = number<std::uint32_t>();
        const auto count = number<std::uint64_t>();
        for (std::uint64_t i = 0; i < count; ++i)
            skip(element);
    }

    static std::uint64_t sizeOf(std::uint32_t type)
    {
        switch (type) {
        case GGUF_TYPE_UINT8:
        case GGUF_TYPE_INT8:
        case GGUF_TYPE_BOOL:
            return 1;
        case GGUF_TYPE_UINT16:
        case GGUF_TYPE_INT16:
            return 2;
        case GGUF_TYPE_UINT64:
        case GGUF_TYPE_INT64:
        case GGUF_TYPE_FLOAT64:
            return 8;
        default:
            return 4;
        }
    }

    QByteArray m_bytes;
    qsizetype m_at = 0;
    qsizetype m_front = 0;
};
} // namespace

QByteArray GgufFile::text(const QByteArray &text)
{
    return plain(static_cast<std::uint64_t>(text.size())) + text;
}

QByteArray GgufFile::texts(const std::vector<QByteArray> &texts)
{
    QByteArray array = plain(std::uint32_t{GGUF_TYPE_STRING}) + plain(std::uint64_t{texts.size()});
    for (const QByteArray &each : texts)
        array += text(each);
    return array;
}

GgufFile GgufFile::read(const QString &path)
{
    QFile source(path);
    if (!source.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.toStdString());
    Reader reader(source.readAll());
    (void)reader.take(8);
    GgufFile file;
    file.tensors.resize(reader.number<std::uint64_t>());
    file.keys.resize(reader.number<std::uint64_t>());
    for (Key &key : file.keys) {
        key.name = reader.text();
        key.type = reader.number<std::uint32_t>();
        key.value = reader.value(key.type);
    }
    std::vector<std::uint64_t> offsets;
    for (Tensor &tensor : file.tensors) {
        tensor.name = reader.text();
        tensor.dimensions.resize(reader.number<std::uint32_t>());
        for (std::uint64_t &each : tensor.dimensions)
            each = reader.number<std::uint64_t>();
        tensor.type = reader.number<std::uint32_t>();
        offsets.push_back(reader.number<std::uint64_t>());
    }
    reader.endFront();
    for (std::size_t i = 0; i < file.tensors.size(); ++i) {
        std::uint64_t size = sizeof(float); // the type of all tensors in test models
        for (const std::uint64_t each : file.tensors[i].dimensions)
            size *= each;
        file.tensors[i].weights = reader.weights(offsets[i], size);
    }
    return file;
}

QByteArray GgufFile::bytes() const
{
    QByteArray front = "GGUF" + plain(std::uint32_t{GGUF_VERSION}) +
                       plain(std::uint64_t{tensors.size()}) + plain(std::uint64_t{keys.size()});
    for (const Key &key : keys)
        front += text(key.name) + plain(key.type) + key.value;
    QByteArray weights;
    for (const Tensor &tensor : tensors) {
        front += text(tensor.name) + plain(static_cast<std::uint32_t>(tensor.dimensions.size()));
        for (const std::uint64_t each : tensor.dimensions)
            front += plain(each);
        front += plain(tensor.type) + plain(static_cast<std::uint64_t>(weights.size()));
        weights += tensor.weights;
        pad(weights);
    }
    pad(front);
    return front + weights;
}

GgufFile::Key &GgufFile::key(const QByteArray &name)
{
    const auto found = std::ranges::find(keys, name, &Key::name);
    if (found == keys.end())
        throw std::runtime_error("no key " + name.toStdString());
    return *found;
}

void GgufFile::set(const QByteArray &name, std::uint32_t type, QByteArray value)
{
    const auto found = std::ranges::find(keys, name, &Key::name);
    if (found == keys.end())
        keys.push_back({name, type, std::move(value)});
    else
        *found = {name, type, std::move(value)};
}

GgufFile::Tensor &GgufFile::tensor(const QByteArray &name)
{
    const auto found = std::ranges::find(tensors, name, &Tensor::name);
    if (found == tensors.end())
        throw std::runtime_error("no tensor " + name.toStdString());
    return *found;
}
