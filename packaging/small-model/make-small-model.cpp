// Builds the small model from the base model and the low-rank difference: dequantises the base's
// weights, adds the difference, and quantises them with 8 bits. The system prompt becomes one token
// of the vocabulary.
//
// The result is the same on every machine: all arithmetic is here, in a fixed order, and compiled
// without fused operations.
#include "agent/SystemPrompt.h"

#include <ggml.h>
#include <gguf.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
// A token that the base model reserves and was never trained with.
constexpr std::size_t promptToken = 16;
constexpr std::int32_t userDefined = 4;
constexpr std::uint32_t mostlyEightBits = 7;
// The block size of both file formats.
constexpr std::size_t blockSize = 32;

struct Q4Block
{
    ggml_fp16_t scale;
    ggml_fp16_t minimum;
    std::array<std::uint8_t, blockSize / 2> nibbles;
};
struct Q8Block
{
    ggml_fp16_t scale;
    std::array<std::int8_t, blockSize> values;
};
static_assert(sizeof(Q4Block) == 20 && sizeof(Q8Block) == 34);

struct Free
{
    void operator()(gguf_context *file) const { gguf_free(file); }
    void operator()(ggml_context *tensors) const { ggml_free(tensors); }
};

struct File
{
    explicit File(const QString &path)
    {
        ggml_context *read = nullptr;
        description.reset(gguf_init_from_file(QFile::encodeName(path).constData(), {false, &read}));
        tensors.reset(read);
        if (!description || !tensors)
            throw std::runtime_error(path.toStdString() + " is no model file.");
    }

    [[nodiscard]] ggml_tensor *find(const std::string &name) const
    {
        return ggml_get_tensor(tensors.get(), name.c_str());
    }

    [[nodiscard]] std::int64_t key(const char *name) const
    {
        const std::int64_t found = gguf_find_key(description.get(), name);
        if (found < 0)
            throw std::runtime_error(std::string(name) + " is missing in the file.");
        return found;
    }

    std::unique_ptr<gguf_context, Free> description;
    std::unique_ptr<ggml_context, Free> tensors;
};

template <typename Block>
std::span<const Block> blocks(const ggml_tensor &tensor)
{
    return {static_cast<const Block *>(tensor.data),
            static_cast<std::size_t>(ggml_nelements(&tensor)) / blockSize};
}

std::vector<float> numbers(const ggml_tensor &tensor)
{
    std::vector<float> result;
    result.reserve(static_cast<std::size_t>(ggml_nelements(&tensor)));
    switch (tensor.type) {
    case GGML_TYPE_F32: {
        const auto *const first = static_cast<const float *>(tensor.data);
        result.assign(first, first + ggml_nelements(&tensor));
        break;
    }
    case GGML_TYPE_Q4_1:
        for (const Q4Block &block : blocks<Q4Block>(tensor)) {
            const float scale = ggml_fp16_to_fp32(block.scale);
            const float minimum = ggml_fp16_to_fp32(block.minimum);
            for (const std::uint8_t pair : block.nibbles)
                result.push_back(static_cast<float>(pair & 0x0F) * scale + minimum);
            for (const std::uint8_t pair : block.nibbles)
                result.push_back(static_cast<float>(pair >> 4) * scale + minimum);
        }
        break;
    case GGML_TYPE_Q8_0:
        for (const Q8Block &block : blocks<Q8Block>(tensor)) {
            const float scale = ggml_fp16_to_fp32(block.scale);
            for (const std::int8_t value : block.values)
                result.push_back(static_cast<float>(value) * scale);
        }
        break;
    default:
        throw std::runtime_error(std::string(ggml_get_name(&tensor)) +
                                 " has a format that is not expected here.");
    }
    return result;
}

Q8Block eightBits(std::span<const float> values)
{
    float largest = 0;
    for (const float value : values)
        largest = std::max(largest, std::fabs(value));
    const float scale = largest / 127;
    const float inverse = scale > 0 ? 1 / scale : 0;
    Q8Block block{.scale = ggml_fp32_to_fp16(scale), .values = {}};
    std::ranges::transform(values, block.values.begin(), [inverse](float value) {
        return static_cast<std::int8_t>(std::round(value * inverse));
    });
    return block;
}

void pack(std::span<const float> values, std::byte *target)
{
    for (std::size_t i = 0; i < values.size(); i += blockSize, target += sizeof(Q8Block)) {
        const Q8Block block = eightBits(values.subspan(i, blockSize));
        std::memcpy(target, &block, sizeof block);
    }
}

// weights += b · a · scale; a has one row for each rank, and b one for each output.
void add(std::vector<float> &weights, const ggml_tensor &a, const ggml_tensor &b, float scale)
{
    const auto inputs = static_cast<std::size_t>(a.ne[0]);
    const auto rank = static_cast<std::size_t>(a.ne[1]);
    const auto outputs = static_cast<std::size_t>(b.ne[1]);
    if (static_cast<std::size_t>(b.ne[0]) != rank || weights.size() != inputs * outputs)
        throw std::runtime_error(std::string(ggml_get_name(&a)) + " does not fit the base.");
    const std::vector<float> rows = numbers(a);
    const std::vector<float> factors = numbers(b);
    for (std::size_t output = 0; output < outputs; ++output) {
        float *const row = weights.data() + output * inputs;
        for (std::size_t r = 0; r < rank; ++r) {
            const float factor = factors[output * rank + r] * scale;
            const float *const from = rows.data() + r * inputs;
            for (std::size_t i = 0; i < inputs; ++i)
                row[i] += factor * from[i];
        }
    }
}

class Merge
{
public:
    Merge(const QString &base, const QString &difference) : m_base(base), m_difference(difference)
    {
    }

    void write(const QString &path)
    {
        copyDescription();
        const std::int64_t count = gguf_get_n_tensors(m_base.description.get());
        std::size_t bytes = 0;
        for (std::int64_t i = 0; i < count; ++i)
            bytes += ggml_tensor_overhead() + sizeOf(tensor(i)) + GGML_MEM_ALIGN;
        const std::unique_ptr<ggml_context, Free> made(ggml_init({bytes, nullptr, false}));
        if (!made)
            throw std::runtime_error("There is not enough memory for the model.");
        for (std::int64_t i = 0; i < count; ++i)
            gguf_add_tensor(m_output.get(), mergedTensor(made.get(), tensor(i)));
        if (m_used != static_cast<std::size_t>(gguf_get_n_tensors(m_difference.description.get())))
            throw std::runtime_error("The difference has parts that the base has no place for.");
        if (!gguf_write_to_file(m_output.get(), QFile::encodeName(path).constData(), false))
            throw std::runtime_error("The model can't be written.");
    }

private:
    [[nodiscard]] const ggml_tensor &tensor(std::int64_t index) const
    {
        return *m_base.find(gguf_get_tensor_name(m_base.description.get(), index));
    }

    static bool isKept(const ggml_tensor &tensor) { return tensor.type == GGML_TYPE_F32; }

    static std::size_t sizeOf(const ggml_tensor &tensor)
    {
        return isKept(tensor) ? ggml_nbytes(&tensor)
                              : static_cast<std::size_t>(ggml_nelements(&tensor)) / blockSize *
                                    sizeof(Q8Block);
    }

    void copyDescription()
    {
        const gguf_context *const base = m_base.description.get();
        gguf_context *const output = m_output.get();
        gguf_set_kv(output, base);
        const std::int64_t texts = m_base.key("tokenizer.ggml.tokens");
        const std::int64_t types = m_base.key("tokenizer.ggml.token_type");
        const std::size_t size = gguf_get_arr_n(base, texts);
        if (size <= promptToken || gguf_get_arr_n(base, types) != size)
            throw std::runtime_error("The base has another vocabulary.");
        const std::string prompt = systemPrompt().toStdString();
        std::vector<const char *> words(size);
        for (std::size_t i = 0; i < size; ++i)
            words[i] = gguf_get_arr_str(base, texts, i);
        words[promptToken] = prompt.c_str();
        const auto *const read = static_cast<const std::int32_t *>(gguf_get_arr_data(base, types));
        std::vector<std::int32_t> kinds(read, read + size);
        kinds[promptToken] = userDefined;
        gguf_set_arr_str(output, "tokenizer.ggml.tokens", words.data(), size);
        gguf_set_arr_data(output, "tokenizer.ggml.token_type", GGUF_TYPE_INT32, kinds.data(), size);
        gguf_set_val_str(output, "general.name", "Quillon small");
        gguf_set_val_u32(output, "general.file_type", mostlyEightBits);
    }

    ggml_tensor *mergedTensor(ggml_context *made, const ggml_tensor &from)
    {
        const std::string name = ggml_get_name(&from);
        ggml_tensor *const to = ggml_new_tensor(made, isKept(from) ? from.type : GGML_TYPE_Q8_0,
                                                ggml_n_dims(&from), from.ne);
        ggml_set_name(to, name.c_str());
        if (isKept(from)) {
            std::memcpy(to->data, from.data, ggml_nbytes(&from));
            return to;
        }
        std::vector<float> weights = numbers(from);
        if (name == "token_embd.weight")
            replacePromptRow(weights, static_cast<std::size_t>(from.ne[0]));
        const ggml_tensor *const a = m_difference.find(name + ".lora_a");
        const ggml_tensor *const b = m_difference.find(name + ".lora_b");
        if (a && b) {
            const gguf_context *const difference = m_difference.description.get();
            const float alpha =
                gguf_get_val_f32(difference, m_difference.key("adapter.lora.alpha"));
            add(weights, *a, *b, alpha / static_cast<float>(a->ne[1]));
            m_used += 2;
        }
        pack(weights, static_cast<std::byte *>(to->data));
        return to;
    }

    void replacePromptRow(std::vector<float> &weights, std::size_t width)
    {
        const ggml_tensor *const row = m_difference.find("prompt_row");
        if (!row || static_cast<std::size_t>(ggml_nelements(row)) != width)
            throw std::runtime_error("The difference has no row for the system prompt.");
        std::ranges::copy(numbers(*row),
                          weights.begin() + static_cast<std::ptrdiff_t>(promptToken * width));
        ++m_used;
    }

    File m_base;
    File m_difference;
    std::unique_ptr<gguf_context, Free> m_output{gguf_init_empty()};
    std::size_t m_used = 0;
};

QByteArray digestOf(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QFile::ReadOnly) || !hash.addData(&file))
        throw std::runtime_error("The model that was written can't be read.");
    return hash.result().toHex();
}
} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 4 || arguments.size() > 5) {
        std::fprintf(stderr, "usage: make-small-model BASE DIFFERENCE OUTPUT [SHA256]\n");
        return 2;
    }
    try {
        const QString &path = arguments[3];
        Merge(arguments[1], arguments[2]).write(path);
        const QByteArray digest = digestOf(path);
        if (arguments.size() == 4) {
            std::printf("%s\n", digest.constData());
        } else if (arguments[4].toLatin1() != digest) {
            QFile::remove(path);
            throw std::runtime_error("The model has another digest than it should have.");
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "make-small-model: %s\n", error.what());
        return 1;
    }
    return 0;
}
