#include "inference/ModelFile.h"

#include "inference/InferenceError.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>

#include <ggml.h>
#include <gguf.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>

namespace {
// Models have about fifty keys; the largest ones have a few thousand tensors. The library's time
// grows with the square of these numbers, since it compares each name with all earlier ones.
constexpr std::uint64_t mostKeys = 4096;
constexpr std::uint64_t mostTensors = 8192;

// The largest vocabularies take about 15 MiB. In memory, each text takes several times the eight
// bytes of an empty one in the file.
constexpr std::uint64_t mostBytes = std::uint64_t{64} * 1024 * 1024;

// The header: magic number, version, number of tensors, number of keys.
constexpr qint64 tensorCountAt = 8;
constexpr qint64 keyCountAt = 16;
constexpr qint64 headerBytes = 24;

constexpr auto partCountKey = "split.count";
constexpr auto tokenizerKey = "tokenizer.ggml.model";

// Reads the front of a file in larger pieces than the single numbers that the library requests.
class Front
{
public:
    explicit Front(const QString &path) : m_file(path)
    {
        // Opening a named pipe would block until another process writes to it.
        if (!QFileInfo(path).isFile() || !m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            throw InferenceError(InferenceError::loadFailed);
        m_size = std::min(static_cast<std::uint64_t>(m_file.size()), mostBytes);
    }

    [[nodiscard]] std::uint64_t size() const { return m_size; }

    // The number of bytes read; less than length if the file ends there or cannot be read.
    std::size_t read(char *output, std::uint64_t offset, std::size_t length)
    {
        std::size_t done = 0;
        while (done < length && offset + done < m_size && fetch(offset + done)) {
            const std::uint64_t start = offset + done - m_pieceAt;
            const auto held = static_cast<std::uint64_t>(m_piece.size()) - start;
            const auto count = static_cast<std::size_t>(
                std::min<std::uint64_t>({length - done, held, m_size - offset - done}));
            std::memcpy(output + done, m_piece.constData() + start, count);
            done += count;
        }
        return done;
    }

private:
    // Makes sure that the buffer contains the byte at that offset.
    bool fetch(std::uint64_t offset)
    {
        constexpr qint64 pieceBytes = qint64{1024} * 1024;
        const auto size = static_cast<std::uint64_t>(m_piece.size());
        if (offset >= m_pieceAt && offset - m_pieceAt < size)
            return true;
        m_piece = m_file.seek(static_cast<qint64>(offset)) ? m_file.read(pieceBytes) : QByteArray();
        m_pieceAt = offset;
        return !m_piece.isEmpty();
    }

    QFile m_file;
    std::uint64_t m_size = 0;
    QByteArray m_piece;
    std::uint64_t m_pieceAt = 0;
};

std::uint64_t numberAt(const char *header, qint64 offset)
{
    std::uint64_t number = 0;
    std::memcpy(&number, header + offset, sizeof number);
    return number;
}

bool hasModestCounts(Front &front)
{
    std::array<char, headerBytes> header{};
    if (front.read(header.data(), 0, header.size()) != header.size())
        return false;
    // Numbers in the other byte order are huge; the library would refuse such a file too.
    return numberAt(header.data(), tensorCountAt) <= mostTensors &&
           numberAt(header.data(), keyCountAt) <= mostKeys;
}

// The library would look for the other parts of a split model beside this file.
bool isWhole(const gguf_context *keys)
{
    const std::int64_t key = gguf_find_key(keys, partCountKey);
    return key < 0 ||
           (gguf_get_kv_type(keys, key) == GGUF_TYPE_UINT16 && gguf_get_val_u16(keys, key) <= 1);
}

// This tokenizer restarts at the beginning of a text if no token matches the rest: it never ends
// and exhausts the memory.
bool hasTokenizerWithAnEnd(const gguf_context *keys)
{
    const std::int64_t key = gguf_find_key(keys, tokenizerKey);
    return key < 0 || gguf_get_kv_type(keys, key) != GGUF_TYPE_STRING ||
           std::strcmp(gguf_get_val_str(keys, key), "rwkv") != 0;
}

// Types that can be converted to single precision are those that have a multiplication; integers
// and types of intermediate results do not.
bool isComputable(ggml_type type)
{
    return type == GGML_TYPE_F32 || ggml_get_type_traits(type)->to_float != nullptr;
}

bool hasComputableWeights(const gguf_context *file)
{
    for (std::int64_t tensor = 0; tensor < gguf_get_n_tensors(file); ++tensor) {
        if (!isComputable(gguf_get_tensor_type(file, tensor)))
            return false;
    }
    return true;
}
} // namespace

void ModelFile::requireLoadable(const QString &path)
{
    Front front(path);
    if (!hasModestCounts(front))
        throw InferenceError(InferenceError::loadFailed);
    const auto read = [](void *from, void *output, std::uint64_t offset, std::size_t length) {
        return static_cast<Front *>(from)->read(static_cast<char *>(output), offset, length);
    };
    const std::unique_ptr<gguf_context, decltype(&gguf_free)> file(
        gguf_init_from_callback(read, &front, 0, front.size(), {.no_alloc = true, .ctx = nullptr}),
        gguf_free);
    if (!file || !isWhole(file.get()) || !hasTokenizerWithAnEnd(file.get()) ||
        !hasComputableWeights(file.get()))
        throw InferenceError(InferenceError::loadFailed);
}
