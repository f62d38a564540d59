#include "bench/ShapedModel.h"

#include "bench/Measure.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStorageInfo>

#include <ggml.h>
#include <gguf.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <tuple>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
constexpr int layers = 28;
constexpr int width = 1536;
constexpr int heads = 12;
constexpr int keyValueHeads = 2;
constexpr int keyValueWidth = width / heads * keyValueHeads;
constexpr int feedForward = 8960;
constexpr int tokens = 151936;
constexpr int byteTokens = 256;
constexpr int endToken = tokens - 1;

struct Freed
{
    void operator()(ggml_context *context) const { ggml_free(context); }
    void operator()(gguf_context *context) const { gguf_free(context); }
};

struct Tensor
{
    std::string name;
    ggml_type type;
    int rowLength;
    int rows;
};

// Q4_K_M uses six bits for the more sensitive matrices of some layers.
ggml_type sensitive(int layer)
{
    const bool precise =
        layer < layers / 8 || layer >= 7 * layers / 8 || (layer - layers / 8) % 3 == 2;
    return precise ? GGML_TYPE_Q6_K : GGML_TYPE_Q4_K;
}

std::vector<Tensor> allTensors()
{
    std::vector<Tensor> all{{"token_embd.weight", GGML_TYPE_Q6_K, width, tokens},
                            {"output_norm.weight", GGML_TYPE_F32, width, 1}};
    for (int layer = 0; layer < layers; ++layer) {
        const auto add = [&](const char *name, ggml_type type, int rowLength, int rows) {
            all.push_back({"blk." + std::to_string(layer) + "." + name, type, rowLength, rows});
        };
        add("attn_norm.weight", GGML_TYPE_F32, width, 1);
        add("attn_q.weight", GGML_TYPE_Q4_K, width, width);
        add("attn_q.bias", GGML_TYPE_F32, width, 1);
        add("attn_k.weight", GGML_TYPE_Q4_K, width, keyValueWidth);
        add("attn_k.bias", GGML_TYPE_F32, keyValueWidth, 1);
        add("attn_v.weight", sensitive(layer), width, keyValueWidth);
        add("attn_v.bias", GGML_TYPE_F32, keyValueWidth, 1);
        add("attn_output.weight", GGML_TYPE_Q4_K, width, width);
        add("ffn_norm.weight", GGML_TYPE_F32, width, 1);
        add("ffn_gate.weight", GGML_TYPE_Q4_K, width, feedForward);
        add("ffn_up.weight", GGML_TYPE_Q4_K, width, feedForward);
        add("ffn_down.weight", sensitive(layer), feedForward, width);
    }
    return all;
}

// Byte-level vocabularies represent each byte by a printable character.
std::string byteToken(int byte)
{
    const auto isPrintable = [](int value) {
        return (value >= 33 && value <= 126) || (value >= 161 && value <= 172) || value >= 174;
    };
    int shown = byte;
    if (!isPrintable(byte)) {
        shown = byteTokens;
        for (int lower = 0; lower < byte; ++lower)
            shown += isPrintable(lower) ? 0 : 1;
    }
    return QString(QChar(shown)).toStdString();
}

// "aaaa", "aaab", …
std::string wordToken(int number)
{
    std::string word(4, 'a');
    for (std::size_t place = word.size(); place > 0; --place) {
        word[place - 1] = static_cast<char>('a' + number % 26);
        number /= 26;
    }
    return word;
}

void describeVocabulary(gguf_context *gguf)
{
    std::vector<std::string> texts;
    texts.reserve(tokens);
    for (int byte = 0; byte < byteTokens; ++byte)
        texts.push_back(byteToken(byte));
    while (texts.size() < endToken)
        texts.push_back(wordToken(static_cast<int>(texts.size())));
    texts.emplace_back("<|im_end|>");
    std::vector<const char *> pointers;
    std::transform(texts.begin(), texts.end(), std::back_inserter(pointers),
                   [](const std::string &text) { return text.c_str(); });
    constexpr int normal = 1;
    constexpr int control = 3;
    std::vector<int> types(tokens, normal);
    types.back() = control;
    const char *merge = "a b"; // No word begins like this: every prompt remains bytes.

    gguf_set_val_str(gguf, "tokenizer.ggml.model", "gpt2");
    gguf_set_val_str(gguf, "tokenizer.ggml.pre", "qwen2");
    gguf_set_arr_str(gguf, "tokenizer.ggml.tokens", pointers.data(), pointers.size());
    gguf_set_arr_data(gguf, "tokenizer.ggml.token_type", GGUF_TYPE_INT32, types.data(),
                      types.size());
    gguf_set_arr_str(gguf, "tokenizer.ggml.merges", &merge, 1);
    gguf_set_val_u32(gguf, "tokenizer.ggml.eos_token_id", endToken);
    gguf_set_val_bool(gguf, "tokenizer.ggml.add_bos_token", false);
    // The library recognises the format by its marker and does not run the template.
    gguf_set_val_str(gguf, "tokenizer.chat_template",
                     "{% for message in messages %}{{'<|im_start|>' + message['role'] + '\n' + "
                     "message['content'] + '<|im_end|>' + '\n'}}{% endfor %}");
}

std::unique_ptr<gguf_context, Freed> describe(const std::vector<Tensor> &all)
{
    std::unique_ptr<gguf_context, Freed> gguf(gguf_init_empty());
    gguf_set_val_str(gguf.get(), "general.architecture", "qwen2");
    gguf_set_val_str(gguf.get(), "general.name", "Random weights of a 1.5B shape");
    gguf_set_val_u32(gguf.get(), "general.file_type", 15);
    gguf_set_val_u32(gguf.get(), "qwen2.block_count", layers);
    gguf_set_val_u32(gguf.get(), "qwen2.context_length", 32768);
    gguf_set_val_u32(gguf.get(), "qwen2.embedding_length", width);
    gguf_set_val_u32(gguf.get(), "qwen2.feed_forward_length", feedForward);
    gguf_set_val_u32(gguf.get(), "qwen2.attention.head_count", heads);
    gguf_set_val_u32(gguf.get(), "qwen2.attention.head_count_kv", keyValueHeads);
    gguf_set_val_f32(gguf.get(), "qwen2.attention.layer_norm_rms_epsilon", 1e-6F);
    gguf_set_val_f32(gguf.get(), "qwen2.rope.freq_base", 1e6F);
    describeVocabulary(gguf.get());

    const std::unique_ptr<ggml_context, Freed> ggml(
        ggml_init({.mem_size = ggml_tensor_overhead() * all.size(),
                   .mem_buffer = nullptr,
                   .no_alloc = true}));
    for (const Tensor &tensor : all) {
        ggml_tensor *const described =
            tensor.rows == 1
                ? ggml_new_tensor_1d(ggml.get(), tensor.type, tensor.rowLength)
                : ggml_new_tensor_2d(ggml.get(), tensor.type, tensor.rowLength, tensor.rows);
        ggml_set_name(described, tensor.name.c_str());
        gguf_add_tensor(gguf.get(), described);
    }
    return gguf;
}

qint64 padded(qint64 size)
{
    constexpr qint64 alignment = GGUF_DEFAULT_ALIGNMENT;
    return (size + alignment - 1) / alignment * alignment;
}

qint64 dataSize(const Tensor &tensor)
{
    return static_cast<qint64>(ggml_row_size(tensor.type, tensor.rowLength)) * tensor.rows;
}

// A few hundred random rows, quantised as in real models; the matrices repeat them. The time of a
// matrix product does not depend on the values.
class RandomRows
{
public:
    const QByteArray &of(ggml_type type, int rowLength, float amplitude)
    {
        QByteArray &block = m_blocks[{type, rowLength, amplitude}];
        if (block.isEmpty())
            block = quantized(type, rowLength, amplitude);
        return block;
    }

private:
    static constexpr int count = 512;

    QByteArray quantized(ggml_type type, int rowLength, float amplitude)
    {
        std::vector<float> weights(static_cast<std::size_t>(rowLength) * count);
        for (float &weight : weights) {
            const auto sixteenBits = static_cast<float>(m_random() & 0xffffU);
            weight = (sixteenBits / 65536.0F - 0.5F) * amplitude;
        }
        QByteArray block(static_cast<qsizetype>(ggml_row_size(type, rowLength)) * count,
                         Qt::Uninitialized);
        ggml_quantize_chunk(type, weights.data(), block.data(), 0, count, rowLength, nullptr);
        return block;
    }

    std::mt19937 m_random{20};
    std::map<std::tuple<ggml_type, int, float>, QByteArray> m_blocks;
};

QByteArray vector(const Tensor &tensor)
{
    const bool isNorm = tensor.name.find("norm") != std::string::npos;
    const std::vector<float> values(static_cast<std::size_t>(tensor.rowLength),
                                    isNorm ? 1.0F : 0.0F);
    return {reinterpret_cast<const char *>(values.data()),
            static_cast<qsizetype>(values.size() * sizeof(float))};
}

void writeRows(QIODevice &file, const Tensor &tensor, int rows, const QByteArray &block)
{
    qint64 left = static_cast<qint64>(ggml_row_size(tensor.type, tensor.rowLength)) * rows;
    for (; left > 0; left -= std::min<qint64>(left, block.size()))
        file.write(block.constData(), std::min<qint64>(left, block.size()));
}

void write(QIODevice &file, const Tensor &tensor, RandomRows &random)
{
    // With weights this much smaller than the others, a token is never sampled.
    constexpr float usual = 0.1F;
    constexpr float faint = 0.001F;
    if (tensor.rows == 1) {
        file.write(vector(tensor));
    } else {
        const QByteArray &block = random.of(tensor.type, tensor.rowLength, usual);
        if (tensor.rows == tokens) {
            // Never sampled: a byte may be part of a character, and the last token ends the
            // generation.
            const QByteArray &faintBlock = random.of(tensor.type, tensor.rowLength, faint);
            writeRows(file, tensor, byteTokens, faintBlock);
            writeRows(file, tensor, tokens - byteTokens - 1, block);
            writeRows(file, tensor, 1, faintBlock);
        } else {
            writeRows(file, tensor, tensor.rows, block);
        }
    }
    file.write(QByteArray(padded(dataSize(tensor)) - dataSize(tensor), '\0'));
}
} // namespace

QString ShapedModel::path()
{
    const std::vector<Tensor> all = allTensors();
    const std::unique_ptr<gguf_context, Freed> gguf = describe(all);
    QByteArray meta(static_cast<qsizetype>(gguf_get_meta_size(gguf.get())), Qt::Uninitialized);
    gguf_get_meta_data(gguf.get(), meta.data());
    qint64 size = meta.size();
    for (const Tensor &tensor : all)
        size += padded(dataSize(tensor));

    const QDir folder(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
                      u"/quillon-bench"_s);
    const QString path = folder.filePath(u"random-1.5b-q4_k_m.gguf"_s);
    if (QFileInfo(path).size() == size)
        return path;

    if (!folder.mkpath(u"."_s))
        throw std::runtime_error("The cache folder cannot be made.");
    constexpr qint64 spare = 500'000'000;
    if (QStorageInfo(folder).bytesAvailable() < size + spare)
        throw std::runtime_error("There is no room for the 1 GB model file in " +
                                 folder.path().toStdString() + ".");
    Measure::say("Writing " + path.toStdString() + " (" + std::to_string(size / 1'000'000) +
                 " MB), once.");
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        throw std::runtime_error(file.errorString().toStdString());
    file.write(meta);
    RandomRows random;
    for (const Tensor &tensor : all)
        write(file, tensor, random);
    if (!file.commit())
        throw std::runtime_error(file.errorString().toStdString());
    return path;
}
