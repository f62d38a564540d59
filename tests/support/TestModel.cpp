#include "tests/support/TestModel.h"

#include "tests/support/TestVocabulary.h"

#include <QFile>

#include <ggml.h>
#include <gguf.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

// How the model works: Every token is a unit vector of the residual stream. Each token of a reply
// has its own dimension, and so has each marker; all other tokens share one. Queries and keys are
// zero, so attention averages all values, and the value of the k-th marker reaches the k-th gate
// (one head suffices; several would only compare the same zeros, for seconds): a gate is open if
// the prompt contains its reply. A row of the output matrix can then express "after this token",
// "while this gate is open" and "not while that gate is open".
namespace {
constexpr qsizetype mostReplies = 32;
constexpr std::size_t feedForwardWidth = 8; // unused, but must not be zero

std::size_t roundedUp(std::size_t number, std::size_t step)
{
    return (number + step - 1) / step * step;
}

// A mean over a context of 4096 tokens must open a gate by at least 1. The value itself is small
// because the values are added in half precision.
constexpr float markerValue = 16;
constexpr float gateGain = 256;

// Each weight exceeds the ones before it, for any number of markers in a prompt of any length.
constexpr float startsFirstReply = 10;
constexpr float startsNextReply = 10;
constexpr float gateForbids = 100;
constexpr float continuesReply = 1e6F;

class Matrix
{
public:
    Matrix(std::size_t width, std::size_t height)
        : m_width(width), m_height(height), m_cells(width * height)
    {
    }

    float &at(std::size_t column, std::size_t row) { return m_cells[row * m_width + column]; }
    [[nodiscard]] std::size_t width() const { return m_width; }
    [[nodiscard]] std::size_t height() const { return m_height; }
    [[nodiscard]] const std::vector<float> &cells() const { return m_cells; }

private:
    std::size_t m_width;
    std::size_t m_height;
    std::vector<float> m_cells;
};

class Weights
{
public:
    explicit Weights(const TestVocabulary &vocabulary);

    [[nodiscard]] std::size_t width() const { return m_width; }
    [[nodiscard]] const Matrix &embedding() const { return m_embedding; }
    [[nodiscard]] const Matrix &value() const { return m_value; }
    [[nodiscard]] const Matrix &attentionOutput() const { return m_attentionOutput; }
    [[nodiscard]] const Matrix &output() const { return m_output; }

private:
    // Dimensions of the residual stream.
    struct Places
    {
        std::vector<std::size_t> ofToken; // 0 for tokens without their own dimension
        std::size_t firstGate = 0;
        std::size_t width = 0;
    };

    explicit Weights(const TestVocabulary &vocabulary, const Places &places);
    static Places placesFor(const TestVocabulary &vocabulary);
    void openGates(const TestVocabulary &vocabulary, const Places &places);
    void startReplies(const TestVocabulary &vocabulary, const Places &places);
    void continueReplies(const TestVocabulary &vocabulary, const Places &places);

    std::size_t m_width;
    Matrix m_embedding;
    Matrix m_value;
    Matrix m_attentionOutput;
    Matrix m_output;
};

Weights::Places Weights::placesFor(const TestVocabulary &vocabulary)
{
    Places places;
    places.ofToken.resize(vocabulary.tokens().size());
    std::size_t next = 1;
    const auto place = [&](std::size_t token) {
        if (places.ofToken[token] == 0)
            places.ofToken[token] = next++;
    };
    for (const TestVocabulary::Script &script : vocabulary.scripts()) {
        std::for_each(script.tokens.begin(), script.tokens.end(), place);
        if (script.marker)
            place(*script.marker);
    }
    places.firstGate = next;
    next += vocabulary.scripts().size();
    places.width = roundedUp(next, 8);
    return places;
}

Weights::Weights(const TestVocabulary &vocabulary) : Weights(vocabulary, placesFor(vocabulary)) {}

Weights::Weights(const TestVocabulary &vocabulary, const Places &places)
    : m_width(places.width)
    , m_embedding(m_width, vocabulary.tokens().size())
    , m_value(m_width, m_width)
    , m_attentionOutput(m_width, m_width)
    , m_output(m_width, vocabulary.tokens().size())
{
    for (std::size_t token = 0; token < vocabulary.tokens().size(); ++token)
        m_embedding.at(places.ofToken[token], token) = 1;
    openGates(vocabulary, places);
    startReplies(vocabulary, places);
    continueReplies(vocabulary, places);
}

void Weights::openGates(const TestVocabulary &vocabulary, const Places &places)
{
    // Compensates the layer's norm, which scales each unit vector by the root of the width.
    const float unit = markerValue / std::sqrt(static_cast<float>(m_width));
    for (std::size_t k = 0; k < vocabulary.scripts().size(); ++k) {
        if (const auto marker = vocabulary.scripts()[k].marker)
            m_value.at(places.ofToken[*marker], k) = unit;
        m_attentionOutput.at(k, places.firstGate + k) = gateGain;
    }
}

void Weights::startReplies(const TestVocabulary &vocabulary, const Places &places)
{
    const std::vector<TestVocabulary::Script> &scripts = vocabulary.scripts();
    const std::size_t last = scripts.size() - 1;
    for (std::size_t k = 0; k < scripts.size(); ++k) {
        const std::size_t first =
            scripts[k].tokens.empty() ? vocabulary.endToken() : scripts[k].tokens.front();
        if (k == 0)
            m_output.at(0, first) += startsFirstReply;
        else
            m_output.at(places.firstGate + k - 1, first) += startsNextReply;
        // Not if this or a later reply was given, so that an early reply may be cut from the
        // prompt.
        for (std::size_t gate = k; gate < scripts.size(); ++gate) {
            const bool repeats = k == last;
            m_output.at(places.firstGate + gate, first) += repeats ? startsNextReply : -gateForbids;
        }
    }
}

void Weights::continueReplies(const TestVocabulary &vocabulary, const Places &places)
{
    for (const TestVocabulary::Script &script : vocabulary.scripts()) {
        for (std::size_t i = 0; i < script.tokens.size(); ++i) {
            std::size_t next = script.ends ? vocabulary.endToken() : script.tokens.front();
            if (i + 1 < script.tokens.size())
                next = script.tokens[i + 1];
            m_output.at(places.ofToken[script.tokens[i]], next) += continuesReply;
        }
    }
}

class File
{
public:
    File()
        : m_keys(gguf_init_empty(), gguf_free)
        , m_tensors(ggml_init({64 * ggml_tensor_overhead(), nullptr, true}), ggml_free)
    {
    }

    [[nodiscard]] gguf_context *keys() const { return m_keys.get(); }

    void text(const char *key, const QByteArray &value) const
    {
        gguf_set_val_str(keys(), key, value.constData());
    }
    void number(const char *key, std::size_t value) const
    {
        gguf_set_val_u32(keys(), key, static_cast<std::uint32_t>(value));
    }

    void matrix(const char *name, const Matrix &matrix)
    {
        ggml_tensor *tensor = ggml_new_tensor_2d(m_tensors.get(), GGML_TYPE_F32,
                                                 static_cast<std::int64_t>(matrix.width()),
                                                 static_cast<std::int64_t>(matrix.height()));
        add(name, tensor, matrix.cells());
    }

    // Norms only change the length.
    void norm(const char *name, std::size_t width)
    {
        ggml_tensor *tensor =
            ggml_new_tensor_1d(m_tensors.get(), GGML_TYPE_F32, static_cast<std::int64_t>(width));
        add(name, tensor, std::vector<float>(width, 1));
    }

    void write(const QString &path) const
    {
        if (!gguf_write_to_file(keys(), QFile::encodeName(path).constData(), false))
            throw std::runtime_error("cannot write " + path.toStdString());
    }

private:
    void add(const char *name, ggml_tensor *tensor, std::vector<float> cells)
    {
        m_cells.push_back(std::move(cells));
        ggml_set_name(tensor, name);
        gguf_add_tensor(keys(), tensor);
        gguf_set_tensor_data(keys(), name, m_cells.back().data());
    }

    std::unique_ptr<gguf_context, decltype(&gguf_free)> m_keys;
    std::unique_ptr<ggml_context, decltype(&ggml_free)> m_tensors;
    std::vector<std::vector<float>> m_cells; // the context only has pointers to them
};

void describeModel(File &file, const Weights &weights)
{
    file.text("general.architecture", "qwen2");
    file.text("general.name", "A test's model");
    file.number("qwen2.block_count", 1);
    file.number("qwen2.context_length", 8192);
    file.number("qwen2.embedding_length", weights.width());
    file.number("qwen2.feed_forward_length", feedForwardWidth);
    file.number("qwen2.attention.head_count", 1);
    file.number("qwen2.attention.head_count_kv", 1);
    gguf_set_val_f32(file.keys(), "qwen2.attention.layer_norm_rms_epsilon", 1e-6F);
}

void describeVocabulary(File &file, const TestVocabulary &vocabulary)
{
    std::vector<const char *> texts;
    std::vector<std::int32_t> kinds;
    for (const TestVocabulary::Token &token : vocabulary.tokens()) {
        texts.push_back(token.text.c_str());
        kinds.push_back(static_cast<std::int32_t>(token.kind));
    }
    // One merge, of two characters that represent control bytes, since there must be one.
    const char *merge = "\u0100 \u0101";
    file.text("tokenizer.ggml.model", "gpt2");
    file.text("tokenizer.ggml.pre", "qwen2");
    gguf_set_arr_str(file.keys(), "tokenizer.ggml.tokens", texts.data(), texts.size());
    gguf_set_arr_data(file.keys(), "tokenizer.ggml.token_type", GGUF_TYPE_INT32, kinds.data(),
                      kinds.size());
    gguf_set_arr_str(file.keys(), "tokenizer.ggml.merges", &merge, 1);
    file.number("tokenizer.ggml.bos_token_id", vocabulary.startToken());
    file.number("tokenizer.ggml.eos_token_id", vocabulary.endToken());
    file.number("tokenizer.ggml.eot_token_id", vocabulary.endToken());
}

void addTensors(File &file, const Weights &weights)
{
    const std::size_t width = weights.width();
    file.matrix("token_embd.weight", weights.embedding());
    file.norm("blk.0.attn_norm.weight", width);
    file.matrix("blk.0.attn_q.weight", Matrix(width, width));
    file.matrix("blk.0.attn_k.weight", Matrix(width, width));
    file.matrix("blk.0.attn_v.weight", weights.value());
    file.matrix("blk.0.attn_output.weight", weights.attentionOutput());
    file.norm("blk.0.ffn_norm.weight", width);
    file.matrix("blk.0.ffn_gate.weight", Matrix(width, feedForwardWidth));
    file.matrix("blk.0.ffn_up.weight", Matrix(width, feedForwardWidth));
    file.matrix("blk.0.ffn_down.weight", Matrix(feedForwardWidth, width));
    file.norm("output_norm.weight", width);
    file.matrix("output.weight", weights.output());
}
} // namespace

QByteArray TestModel::chatMl()
{
    return "{% for message in messages %}{{'<|im_start|>' + message['role'] + '\\n' + "
           "message['content'] + '<|im_end|>' + '\\n'}}{% endfor %}"
           "{% if add_generation_prompt %}{{ '<|im_start|>assistant\\n' }}{% endif %}";
}

QByteArray TestModel::withHeaders()
{
    return "{% for message in messages %}{{'<|start_header_id|>' + message['role'] + "
           "'<|end_header_id|>\\n\\n' + message['content'] | trim + '<|eot_id|>'}}{% endfor %}"
           "{% if add_generation_prompt %}"
           "{{ '<|start_header_id|>assistant<|end_header_id|>\\n\\n' }}{% endif %}";
}

QByteArray TestModel::unknownTemplate()
{
    return "{% for message in messages %}{{ message['content'] | upper }}{% endfor %}";
}

TestModel TestModel::saying(const QList<QByteArray> &texts)
{
    TestModel model;
    for (const QByteArray &text : texts)
        model.replies.append({text});
    return model;
}

void TestModel::write(const QString &path) const
{
    if (replies.isEmpty() || replies.size() > mostReplies)
        throw std::invalid_argument("a test model gives 1 to 32 replies");
    const TestVocabulary vocabulary(*this);
    const Weights weights(vocabulary);

    File file;
    describeModel(file, weights);
    describeVocabulary(file, vocabulary);
    gguf_set_val_bool(file.keys(), "tokenizer.ggml.add_bos_token", addsStartToken);
    if (chatTemplate)
        file.text("tokenizer.chat_template", *chatTemplate);
    addTensors(file, weights);
    if (adjust)
        adjust(file.keys());
    file.write(path);
}
