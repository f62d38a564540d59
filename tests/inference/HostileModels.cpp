#include "tests/inference/HostileModels.h"

#include "tests/inference/GgufFile.h"

#include <QTemporaryDir>

#include <ggml.h>
#include <gguf.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
using HostileModels::Hostile;
using Change = std::function<void(GgufFile &)>;

constexpr auto huge = std::numeric_limits<std::uint64_t>::max();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

// Rows of that many weights: the blocks of some types have 32, those of others 256.
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

const GgufFile &narrow()
{
    static const GgufFile file = parsed(HostileModels::good());
    return file;
}

const GgufFile &wide()
{
    static const GgufFile file = parsed(modelOf(250));
    return file;
}

class List
{
public:
    void add(const QByteArray &name, Change change, const GgufFile &base = narrow())
    {
        m_models.push_back({name, [change = std::move(change), &base] {
                                GgufFile file = base;
                                change(file);
                                return file.bytes();
                            }});
    }

    void addBytes(const QByteArray &name, std::function<QByteArray()> content)
    {
        m_models.push_back({name, std::move(content)});
    }

    std::vector<Hostile> take() { return std::move(m_models); }

private:
    std::vector<Hostile> m_models;
};

QByteArray noiseBytes(std::size_t count)
{
    std::mt19937 random(3);
    QByteArray bytes(static_cast<qsizetype>(count), '\0');
    for (char &each : bytes)
        each = static_cast<char>(random());
    return bytes;
}

// The tensor with weights of that type, as many as it had; what they say is chance.
void retype(GgufFile::Tensor &tensor, std::uint32_t type)
{
    tensor.type = type;
    std::uint64_t rows = 1;
    for (std::size_t i = 1; i < tensor.dimensions.size(); ++i)
        rows *= tensor.dimensions[i];
    const auto known = static_cast<ggml_type>(type);
    const bool exists = type < GGML_TYPE_COUNT && ggml_blck_size(known) > 0;
    const std::uint64_t row =
        exists ? ggml_row_size(known, static_cast<std::int64_t>(tensor.dimensions[0])) : 64;
    tensor.weights = noiseBytes(row * rows);
}

bool isMatrix(const GgufFile::Tensor &tensor)
{
    return tensor.dimensions.size() > 1;
}

void addTypes(List &list, const GgufFile &base, const QByteArray &size)
{
    for (std::uint32_t type = 0; type < GGML_TYPE_COUNT + 3; ++type) {
        const QByteArray suffix = " of type " + QByteArray::number(type) + ", " + size;
        // One for each way in which the library computes with a tensor.
        for (const char *const name :
             {"token_embd.weight", "blk.0.attn_norm.weight", "blk.0.attn_v.weight",
              "blk.0.ffn_down.weight", "output.weight"}) {
            list.add(
                name + suffix, [name, type](GgufFile &file) { retype(file.tensor(name), type); },
                base);
        }
        list.add(
            "all matrices" + suffix,
            [type](GgufFile &file) {
                for (GgufFile::Tensor &each : file.tensors) {
                    if (isMatrix(each))
                        retype(each, type);
                }
            },
            base);
    }
}

std::vector<QByteArray> tokensOf(const GgufFile &file, const QByteArray &suffix = {})
{
    GgufFile copy = file;
    const QByteArray array = copy.key("tokenizer.ggml.tokens").value;
    std::vector<QByteArray> tokens;
    for (qsizetype at = 12; at < array.size();) {
        std::uint64_t length = 0;
        std::copy_n(array.constData() + at, sizeof length, reinterpret_cast<char *>(&length));
        tokens.push_back(array.mid(at + 8, static_cast<qsizetype>(length)) + suffix);
        at += 8 + static_cast<qsizetype>(length);
    }
    return tokens;
}

void setTokens(GgufFile &file, const std::vector<QByteArray> &tokens)
{
    file.set("tokenizer.ggml.tokens", GGUF_TYPE_ARRAY, GgufFile::texts(tokens));
}

void setText(GgufFile &file, const QByteArray &key, const QByteArray &text)
{
    file.set(key, GGUF_TYPE_STRING, GgufFile::text(text));
}

template <typename Number>
void setNumbers(GgufFile &file, const QByteArray &key, std::uint32_t type,
                const std::vector<Number> &numbers)
{
    file.set(key, GGUF_TYPE_ARRAY, GgufFile::numbers(type, numbers));
}

// One token replaced by something that is no proper token.
void addTokens(List &list)
{
    const std::vector<std::pair<QByteArray, QByteArray>> odd{
        {"empty", ""},
        {"of a zero byte", QByteArray(1, '\0')},
        {"of bytes that are no text", "\xff\xfe\xc0"},
        {"cut in a character", "\xf0\x9f"},
        {"of a megabyte", QByteArray(1'000'000, 'x')},
        {"that is a byte", "<0x41>"},
        {"that is no byte", "<0xZZ>"},
        {"that ends", "<|im_end|>"},
        {"of white space", "   \n\t"},
        {"of half a surrogate", "\xed\xa0\x80"},
    };
    for (const auto &[what, token] : odd) {
        for (const std::size_t at : {0U, 10U}) {
            list.add("token " + QByteArray::number(static_cast<int>(at)) + ' ' + what,
                     [token = token, at](GgufFile &file) {
                         std::vector<QByteArray> tokens = tokensOf(file);
                         tokens.at(at) = token;
                         setTokens(file, tokens);
                     });
        }
        list.add("all tokens " + what, [token = token](GgufFile &file) {
            const std::size_t count = token.size() > 100 ? 20 : tokensOf(file).size();
            setTokens(file, std::vector<QByteArray>(count, token));
        });
    }
    list.add("no tokens", [](GgufFile &file) { setTokens(file, {}); });
    list.add("one token", [](GgufFile &file) { setTokens(file, {"a"}); });
    list.add("more tokens than rows", [](GgufFile &file) {
        std::vector<QByteArray> tokens = tokensOf(file);
        for (int i = 0; i < 100'000; ++i)
            tokens.push_back("more" + QByteArray::number(i));
        setTokens(file, tokens);
    });
}

void addMerges(List &list)
{
    const auto merges = [&](const QByteArray &name, std::vector<QByteArray> texts) {
        list.add("merges " + name, [texts = std::move(texts)](GgufFile &file) {
            file.set("tokenizer.ggml.merges", GGUF_TYPE_ARRAY, GgufFile::texts(texts));
        });
    };
    merges("empty", {"", "", ""});
    merges("without a space", {"ab", "c"});
    merges("with spaces only", {" ", "  ", "   "});
    merges("of bytes that are no text", {"\xff \xfe", "\xc0\x80 \xc0"});
    merges("of zero bytes", {QByteArray("a\0 b", 4), QByteArray(" \0", 2)});
    merges("of what is no token", {"never there", "x y z"});
    merges("all the same", std::vector<QByteArray>(50'000, "a b"));
    std::vector<QByteArray> growing;
    for (QByteArray word = "a"; word.size() < 400; word += 'a')
        growing.push_back(word + " a");
    merges("that grow", growing);
}

void addSpecialTokens(List &list)
{
    const std::vector<QByteArray> names{"bos",       "eos",     "eot",     "eom",     "unknown",
                                        "seperator", "padding", "cls",     "mask",    "fim_pre",
                                        "fim_suf",   "fim_mid", "fim_pad", "fim_rep", "fim_sep",
                                        "prefix",    "suffix",  "middle"};
    for (const QByteArray &name : names) {
        const QByteArray key = "tokenizer.ggml." + name + "_token_id";
        for (const std::uint32_t id : {0U, 100'000U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
            list.add(name + " token " + QByteArray::number(id), [key, id](GgufFile &file) {
                file.set(key, GGUF_TYPE_UINT32, GgufFile::plain(id));
                file.set("tokenizer.ggml.add_bos_token", GGUF_TYPE_BOOL, "\1");
                file.set("tokenizer.ggml.add_eos_token", GGUF_TYPE_BOOL, "\1");
                file.set("tokenizer.ggml.add_sep_token", GGUF_TYPE_BOOL, "\1");
            });
        }
    }
}

void addTokenLists(List &list)
{
    for (const std::size_t count : {0U, 1U, 10U, 100'000U}) {
        const QByteArray number = QByteArray::number(static_cast<int>(count));
        list.add(number + " token types", [count](GgufFile &file) {
            setNumbers(file, "tokenizer.ggml.token_type", GGUF_TYPE_INT32,
                       std::vector<std::int32_t>(count, 1));
        });
        list.add(number + " scores", [count](GgufFile &file) {
            setText(file, "tokenizer.ggml.model", "llama");
            setNumbers(file, "tokenizer.ggml.scores", GGUF_TYPE_FLOAT32,
                       std::vector<float>(count, nan));
        });
        list.add(number + " forbidden tokens", [count](GgufFile &file) {
            setNumbers(file, "tokenizer.ggml.suppress_tokens", GGUF_TYPE_INT32,
                       std::vector<std::int32_t>(count, -5));
        });
    }
    for (const std::int32_t kind : {0, 1, 2, 3, 4, 5, 6, 7, 100, -1, 0x7fffffff}) {
        list.add("all tokens of kind " + QByteArray::number(kind), [kind](GgufFile &file) {
            setNumbers(file, "tokenizer.ggml.token_type", GGUF_TYPE_INT32,
                       std::vector<std::int32_t>(tokensOf(file).size(), kind));
        });
    }
    list.add("token types of another type", [](GgufFile &file) {
        setNumbers(file, "tokenizer.ggml.token_type", GGUF_TYPE_INT8,
                   std::vector<std::int8_t>(tokensOf(file).size(), 1));
    });
    list.add("scores of another type", [](GgufFile &file) {
        setNumbers(file, "tokenizer.ggml.scores", GGUF_TYPE_FLOAT64,
                   std::vector<double>(tokensOf(file).size(), 1));
    });
}

// What such tokenizers read besides, in a version that makes sense and in others.
void addTokenizerModels(List &list)
{
    for (const QByteArray model :
         {"gpt2", "llama", "bert", "t5", "rwkv", "plamo2", "none", "no_vocab", "gemma4",
          "whitespace", "hybriddna", "test", "quux", ""}) {
        const auto add = [&](const QByteArray &what, Change change) {
            list.add("tokenizer " + model + ' ' + what,
                     [model, change = std::move(change)](GgufFile &file) {
                         setText(file, "tokenizer.ggml.model", model);
                         change(file);
                     });
        };
        add("alone", [](GgufFile &) {});
        add("with scores", [](GgufFile &file) {
            setNumbers(file, "tokenizer.ggml.scores", GGUF_TYPE_FLOAT32,
                       std::vector<float>(tokensOf(file).size(), -1));
        });
        add("with scores that are no numbers", [](GgufFile &file) {
            setNumbers(file, "tokenizer.ggml.scores", GGUF_TYPE_FLOAT32,
                       std::vector<float>(tokensOf(file).size(), nan));
        });
        for (const std::size_t bytes : {0U, 1U, 4U, 5U, 1000U}) {
            add("with a map of " + QByteArray::number(static_cast<int>(bytes)) + " bytes",
                [bytes](GgufFile &file) {
                    const QByteArray noise = noiseBytes(bytes);
                    setNumbers(file, "tokenizer.ggml.precompiled_charsmap", GGUF_TYPE_UINT8,
                               std::vector<std::uint8_t>(noise.begin(), noise.end()));
                });
        }
        add("with a map that has no end", [](GgufFile &file) {
            std::vector<std::uint8_t> map(1000, 0xff);
            map[0] = 0xf0;
            map[1] = map[2] = map[3] = 0;
            setNumbers(file, "tokenizer.ggml.precompiled_charsmap", GGUF_TYPE_UINT8, map);
        });
        add("of bytes", [](GgufFile &file) {
            std::vector<QByteArray> tokens = tokensOf(file);
            for (std::size_t i = 0; i < std::min<std::size_t>(tokens.size(), 256); ++i)
                tokens[i] = "<0x" + QByteArray::number(static_cast<int>(i), 16).toUpper() + '>';
            setTokens(file, tokens);
        });
        add("with quotes", [](GgufFile &file) { setTokens(file, tokensOf(file, "'\\x")); });
    }
}

// The tokens that hold back a thousand letters cut them in another way each.
constexpr auto preTokenizers = std::to_array<const char *>({"default",
                                                            "minicpm5",
                                                            "llama3",
                                                            "llama-bpe",
                                                            "falcon3",
                                                            "falcon-h1",
                                                            "pixtral",
                                                            "lfm2",
                                                            "deepseek-llm",
                                                            "deepseek-coder",
                                                            "deepseek-v3",
                                                            "youtu",
                                                            "falcon",
                                                            "mpt",
                                                            "starcoder",
                                                            "gpt-2",
                                                            "phi-2",
                                                            "jina-es",
                                                            "gigachat",
                                                            "a.x-4.0",
                                                            "mellum",
                                                            "modern-bert",
                                                            "jais-2",
                                                            "gemma4",
                                                            "jina-v1-en",
                                                            "jina-v2-code",
                                                            "roberta-bpe",
                                                            "whitespace",
                                                            "refact",
                                                            "command-r",
                                                            "qwen2",
                                                            "kormo",
                                                            "qwen35",
                                                            "stablelm2",
                                                            "olmo",
                                                            "dbrx",
                                                            "smaug-bpe",
                                                            "poro-chat",
                                                            "glm4",
                                                            "chatglm-bpe",
                                                            "viking",
                                                            "jais",
                                                            "tekken",
                                                            "smollm",
                                                            "codeshell",
                                                            "bloom",
                                                            "gpt3-finnish",
                                                            "exaone",
                                                            "exaone4",
                                                            "exaone-moe",
                                                            "chameleon",
                                                            "minerva-7b",
                                                            "megrez",
                                                            "gpt-4o",
                                                            "llama4",
                                                            "kanana2",
                                                            "tiny_aya",
                                                            "superbpe",
                                                            "trillion",
                                                            "granite-docling",
                                                            "bailingmoe",
                                                            "llada-moe",
                                                            "seed-coder",
                                                            "hunyuan",
                                                            "hunyuan-dense",
                                                            "kimi-k2",
                                                            "grok-2",
                                                            "afmoe",
                                                            "minimax-m2",
                                                            "solar-open",
                                                            "a name of our own"});

// What the library recognises the formats by.
constexpr auto templateMarks = std::to_array<const char *>(
    {"<|im_start|>",
     "<|im_start|> <|im_sep|>",
     "<|im_start|> <end_of_utterance>",
     "[INST]",
     "[INST] <<SYS>>",
     "[INST] <<SYS>> bos_token + '[INST]'",
     "[INST] <<SYS>> content.strip()",
     "[INST] [SYSTEM_PROMPT]",
     "[INST] ' [INST] ' + system_message",
     "[INST] [AVAILABLE_TOOLS]",
     "[INST] \"[INST]\" [AVAILABLE_TOOLS]",
     "<|assistant|> <|end|>",
     "<|assistant|> <|user|>",
     "<|user|> <|endoftext|>",
     "<|assistant|> <|user|> eos_token",
     "bos_token + message['role']",
     "<start_of_turn>",
     "'\\n\\nAssistant: ' + eos_token",
     "GPT4 Correct ",
     "USER:  ASSISTANT: ",
     "USER: 'SYSTEM: ' ASSISTANT: ",
     "### Instruction: <|EOT|>",
     "<|START_OF_TURN_TOKEN|> <|USER_TOKEN|>",
     "<|start_header_id|> <|end_header_id|>",
     "[gMASK]sop",
     "[gMASK]<sop>",
     "<|im_start|>assistant 'Assistant: ' message['content'] + eos_token",
     "<\xef\xbd\x9c"
     "Assistant\xef\xbd\x9c>",
     "[|system|] [|assistant|] [|endofturn|]",
     "rwkv-world",
     "<|start_of_role|>",
     "message['role'] + additional_special_tokens[0] + message['content']",
     "<|role_start|>",
     "\xd0\x90\xd1\x81\xd1\x81\xd0\xb8\xd1\x81\xd1\x82\xd0\xb5\xd0\xbd\xd1\x82:",
     "<role>ASSISTANT</role>",
     "<role>ASSISTANT</role> <think>",
     "<|header_start|> <|header_end|>",
     "<|startoftext|> <|extra_4|>",
     "<|start|> <|channel|>",
     "<\xef\xbd\x9chy_place\xe2\x96\x81holder\xe2\x96\x81no\xe2\x96\x81"
     "2\xef\xbd\x9c>",
     "<|im_assistant|>assistant<|im_middle|>",
     "<seed:bos>",
     "'Assistant: '  + message['content'] + '<|separator|>",
     "[unused9]",
     "<|content|> <|begin|>"});

constexpr auto architectures =
    std::to_array<const char *>({"clip",          "llama",      "llama4",
                                 "deci",          "falcon",     "grok",
                                 "gpt2",          "gptj",       "gptneox",
                                 "mpt",           "baichuan",   "starcoder",
                                 "refact",        "bert",       "modern-bert",
                                 "nomic-bert",    "neo-bert",   "jina-bert-v2",
                                 "eurobert",      "bloom",      "stablelm",
                                 "qwen",          "qwen2moe",   "qwen2vl",
                                 "qwen3",         "qwen3moe",   "qwen3next",
                                 "qwen3vl",       "qwen35",     "phi2",
                                 "phi3",          "phimoe",     "plamo",
                                 "plamo2",        "codeshell",  "orion",
                                 "internlm2",     "minicpm",    "minicpm3",
                                 "gemma",         "gemma2",     "gemma3",
                                 "gemma3n",       "gemma4",     "gemma-embedding",
                                 "starcoder2",    "mamba",      "mamba2",
                                 "jamba",         "falcon-h1",  "xverse",
                                 "command-r",     "cohere2",    "dbrx",
                                 "olmo",          "olmo2",      "olmoe",
                                 "openelm",       "arctic",     "deepseek",
                                 "deepseek2",     "chatglm",    "glm4",
                                 "glm4moe",       "bitnet",     "t5",
                                 "t5encoder",     "jais",       "nemotron",
                                 "nemotron_h",    "exaone",     "exaone4",
                                 "rwkv6",         "rwkv6qwen2", "rwkv7",
                                 "arwkv7",        "granite",    "granitemoe",
                                 "granitehybrid", "chameleon",  "wavtokenizer-dec",
                                 "plm",           "bailingmoe", "dots1",
                                 "arcee",         "ernie4_5",   "hunyuan-moe",
                                 "hunyuan-dense", "smollm3",    "gpt-oss",
                                 "lfm2",          "dream",      "smallthinker",
                                 "llada",         "seed_oss",   "grovemoe",
                                 "apertus",       "cogvlm",     "mistral3"});

QByteArray valueOf(std::uint32_t type, std::mt19937 &random)
{
    static const std::array<std::uint64_t, 8> extremes{
        0, 1, 2, 7, 0x7fffffff, 0xffffffff, 0x7fc000007fc00000 /* no number */, huge};
    const std::uint64_t number = extremes.at(random() % extremes.size());
    switch (type) {
    case GGUF_TYPE_UINT8:
    case GGUF_TYPE_INT8:
    case GGUF_TYPE_BOOL:
        return GgufFile::plain(static_cast<std::uint8_t>(number));
    case GGUF_TYPE_UINT16:
    case GGUF_TYPE_INT16:
        return GgufFile::plain(static_cast<std::uint16_t>(number));
    case GGUF_TYPE_STRING:
        return GgufFile::text(random() % 2 == 0 ? QByteArray() : noiseBytes(300));
    case GGUF_TYPE_ARRAY:
        switch (random() % 4) {
        case 0:
            return GgufFile::texts({"", "x"});
        case 1:
            return GgufFile::numbers(GGUF_TYPE_UINT32, std::vector<std::uint32_t>{});
        case 2:
            return GgufFile::numbers(GGUF_TYPE_UINT32, std::vector<std::uint32_t>(600, 0x10000));
        default:
            return GgufFile::numbers(GGUF_TYPE_FLOAT32, std::vector<float>(3, -1e30F));
        }
    case GGUF_TYPE_UINT64:
    case GGUF_TYPE_INT64:
    case GGUF_TYPE_FLOAT64:
        return GgufFile::plain(number);
    default:
        return GgufFile::plain(static_cast<std::uint32_t>(number));
    }
}

void addNumbers(List &list)
{
    const std::vector<QByteArray> keys{"qwen2.rope.dimension_count",
                                       "qwen2.rope.freq_base",
                                       "qwen2.rope.scaling.factor",
                                       "qwen2.rope.scaling.type",
                                       "qwen2.attention.key_length",
                                       "qwen2.attention.value_length",
                                       "qwen2.attention.sliding_window",
                                       "qwen2.expert_count",
                                       "qwen2.expert_used_count",
                                       "qwen2.vocab_size",
                                       "qwen2.pooling_type",
                                       "qwen2.attention.causal",
                                       "qwen2.tensor_data_layout",
                                       "general.file_type",
                                       "general.quantization_version",
                                       "general.type",
                                       "general.alignment",
                                       "split.count",
                                       "split.no",
                                       "adapter.type",
                                       "tokenizer.ggml.add_space_prefix",
                                       "tokenizer.ggml.token_type_count",
                                       "tokenizer.ggml.remove_extra_whitespaces"};
    std::vector<QByteArray> all = keys;
    for (const GgufFile::Key &key : narrow().keys)
        all.push_back(key.name);
    std::mt19937 random(11);
    for (const QByteArray &key : all) {
        for (auto type = static_cast<std::uint32_t>(random() % 3); type <= GGUF_TYPE_COUNT;
             type += 3) {
            list.add(key + " of type " + QByteArray::number(type),
                     [key, type, value = valueOf(type, random)](GgufFile &file) {
                         file.set(key, type, value);
                     });
        }
    }
    for (const char *const key :
         {"block_count", "context_length", "embedding_length", "feed_forward_length",
          "attention.head_count", "attention.head_count_kv", "rope.dimension_count"}) {
        for (const std::uint32_t number : {0U, 1U, 2U, 3U, 31U, 33U, 512U, 0x7fffffffU, ~0U}) {
            list.add(key + (" of " + QByteArray::number(number)), [key, number](GgufFile &file) {
                file.set("qwen2." + QByteArray(key), GGUF_TYPE_UINT32, GgufFile::plain(number));
            });
        }
    }
}

void addCounts(List &list)
{
    for (const int count : {2000, 100'000}) {
        const QByteArray number = QByteArray::number(count);
        list.add(number + " keys", [count](GgufFile &file) {
            for (int i = 0; i < count; ++i)
                file.keys.push_back({"key." + QByteArray::number(i), GGUF_TYPE_UINT8, "x"});
        });
        list.add(number + " tensors", [count](GgufFile &file) {
            for (int i = 0; i < count; ++i)
                file.tensors.push_back({"blk.0.t" + QByteArray::number(i), {1}, 0, "abcd"});
        });
    }
    list.add("a million empty texts", [](GgufFile &file) {
        file.set("more", GGUF_TYPE_ARRAY, GgufFile::texts(std::vector<QByteArray>(1'000'000)));
    });
    list.add("an array of arrays", [](GgufFile &file) {
        file.set("more", GGUF_TYPE_ARRAY,
                 GgufFile::plain(std::uint32_t{GGUF_TYPE_ARRAY}) + GgufFile::plain(huge));
    });
    list.add("a text without an end",
             [](GgufFile &file) { file.set("more", GGUF_TYPE_STRING, GgufFile::plain(huge)); });
    list.add("a name of a megabyte",
             [](GgufFile &file) { file.tensors[0].name = QByteArray(1'000'000, 'n'); });
    list.add("a key without a name", [](GgufFile &file) { file.set("", GGUF_TYPE_BOOL, "x"); });
    list.add("a key twice", [](GgufFile &file) { file.keys.push_back(file.keys[3]); });
    for (const std::uint16_t parts : {std::uint16_t{2}, std::uint16_t{0xffff}}) {
        list.add("one of " + QByteArray::number(parts) + " parts", [parts](GgufFile &file) {
            file.set("split.no", GGUF_TYPE_UINT16, GgufFile::plain(std::uint16_t{0}));
            file.set("split.count", GGUF_TYPE_UINT16, GgufFile::plain(parts));
        });
    }
}
} // namespace

TestModel HostileModels::good()
{
    return modelOf(26);
}

std::vector<Hostile> HostileModels::types()
{
    List list;
    addTypes(list, narrow(), "narrow");
    // Types whose blocks fit into narrow rows have been there.
    for (std::uint32_t type = 0; type < GGML_TYPE_COUNT; ++type) {
        if (ggml_blck_size(static_cast<ggml_type>(type)) <= 32)
            continue;
        for (const char *const name : {"token_embd.weight", "output.weight", "blk.0.attn_v.weight",
                                       "blk.0.attn_norm.weight"}) {
            list.add(
                name + (" of type " + QByteArray::number(type)) + ", wide",
                [name, type](GgufFile &file) { retype(file.tensor(name), type); }, wide());
        }
    }
    return list.take();
}

std::vector<Hostile> HostileModels::shapes()
{
    List list;
    for (const GgufFile::Tensor &tensor : narrow().tensors) {
        const auto add = [&](const QByteArray &what, std::vector<std::uint64_t> dimensions) {
            list.add(tensor.name + what, [name = tensor.name, dimensions](GgufFile &file) {
                GgufFile::Tensor &changed = file.tensor(name);
                changed.dimensions = dimensions;
                std::uint64_t count = 1;
                for (const std::uint64_t each : dimensions)
                    count *= each;
                if (count < 1'000'000)
                    changed.weights = QByteArray(static_cast<qsizetype>(4 * count), '\1');
            });
        };
        const std::uint64_t width = tensor.dimensions[0];
        const std::uint64_t height = isMatrix(tensor) ? tensor.dimensions[1] : 1;
        add(" without dimensions", {});
        add(" of no width", {0, height});
        add(" of no height", {width, 0});
        add(" of width 1", {1, height});
        add(" of half the width", {width / 2, height});
        add(" of twice the width", {2 * width, height});
        add(" of height 1", {width, 1});
        add(" of half the height", {width, height / 2});
        add(" of twice the height", {width, 2 * height});
        add(" lying", {height, width});
        add(" in a row", {width * height});
        add(" in three dimensions", {width, height, 2});
        add(" in four dimensions", {width, height, 1, 1});
        add(" of four billion columns", {1ULL << 32, height});
        add(" as large as numbers go", {1ULL << 62, 2});
        add(" of a product that wraps round", {1ULL << 32, 1ULL << 32});
        list.add(tensor.name + " missing", [name = tensor.name](GgufFile &file) {
            std::erase_if(file.tensors, [&](const auto &each) { return each.name == name; });
        });
    }
    return list.take();
}

std::vector<Hostile> HostileModels::tokenizers()
{
    List list;
    for (const char *const name : preTokenizers) {
        list.add(name, [name](GgufFile &file) { setText(file, "tokenizer.ggml.pre", name); });
    }
    addTokenizerModels(list);
    addTokens(list);
    addMerges(list);
    addSpecialTokens(list);
    addTokenLists(list);
    return list.take();
}

std::vector<Hostile> HostileModels::templates()
{
    List list;
    const auto add = [&](const QByteArray &name, const QByteArray &text) {
        list.add(name, [text](GgufFile &file) { setText(file, "tokenizer.chat_template", text); });
    };
    for (const char *const marks : templateMarks)
        add(marks, marks);
    add("empty", "");
    add("of a zero byte", QByteArray("<|im_start|>\0x", 14));
    add("of bytes that are no text", "\xff\xfe\xc0<|im_start|>");
    add("of a name that the library has", "chatml");
    add("of ten megabytes", QByteArray(10'000'000, '{'));
    add("of a loop in a loop", QByteArray("{% for a in b %}").repeated(10'000));
    list.add("that is a number", [](GgufFile &file) {
        file.set("tokenizer.chat_template", GGUF_TYPE_UINT64, GgufFile::plain(huge));
    });
    list.add("that is a list", [](GgufFile &file) {
        file.set("tokenizer.chat_template", GGUF_TYPE_ARRAY,
                 GgufFile::texts({"<|im_start|>", "[INST]"}));
    });
    return list.take();
}

std::vector<Hostile> HostileModels::metadata()
{
    List list;
    addNumbers(list);
    addCounts(list);
    for (const char *const architecture : architectures) {
        list.add("as " + QByteArray(architecture), [architecture](GgufFile &file) {
            setText(file, "general.architecture", architecture);
            for (GgufFile::Key &key : file.keys) {
                if (key.name.startsWith("qwen2."))
                    key.name.replace(0, 5, architecture);
            }
        });
    }
    return list.take();
}

std::vector<Hostile> HostileModels::noise()
{
    List list;
    const qsizetype front = narrow().bytes().indexOf("output.weight") + 40;
    std::mt19937 random(41);
    for (int i = 0; i < 60; ++i) {
        const unsigned seed = static_cast<unsigned>(random());
        list.addBytes("bits " + QByteArray::number(i), [seed, front] {
            std::mt19937 chance(seed);
            QByteArray bytes = narrow().bytes();
            for (int flips = 0; flips < 3; ++flips) {
                char &each = bytes[static_cast<qsizetype>(chance()) % front];
                each = static_cast<char>(each ^ (1 << (chance() % 8)));
            }
            return bytes;
        });
        list.addBytes("bytes " + QByteArray::number(i), [seed, front] {
            std::mt19937 chance(seed);
            QByteArray bytes = narrow().bytes();
            const auto at = static_cast<qsizetype>(chance()) % front;
            return bytes.replace(at, 4, QByteArray(4, static_cast<char>(chance())));
        });
    }
    return list.take();
}
