#include "tests/inference/HostileModelList.h"

#include <gguf.h>

#include <array>
#include <random>

using namespace HostileModels;

namespace {
constexpr auto architectures =
    "clip llama llama4 deci falcon grok gpt2 gptj gptneox mpt baichuan starcoder refact bert "
    "modern-bert nomic-bert neo-bert jina-bert-v2 eurobert bloom stablelm qwen qwen2moe qwen2vl "
    "qwen3 qwen3moe qwen3next qwen3vl qwen35 phi2 phi3 phimoe plamo plamo2 codeshell orion "
    "internlm2 minicpm minicpm3 gemma gemma2 gemma3 gemma3n gemma4 gemma-embedding starcoder2 "
    "mamba mamba2 jamba falcon-h1 xverse command-r cohere2 dbrx olmo olmo2 olmoe openelm arctic "
    "deepseek deepseek2 chatglm glm4 glm4moe bitnet t5 t5encoder jais nemotron nemotron_h exaone "
    "exaone4 rwkv6 rwkv6qwen2 rwkv7 arwkv7 granite granitemoe granitehybrid chameleon "
    "wavtokenizer-dec plm bailingmoe dots1 arcee ernie4_5 hunyuan-moe hunyuan-dense smollm3 "
    "gpt-oss lfm2 dream smallthinker llada seed_oss grovemoe apertus cogvlm mistral3";

// Keys that the good file does not have.
constexpr auto furtherKeys =
    "qwen2.rope.dimension_count qwen2.rope.freq_base qwen2.rope.scaling.factor "
    "qwen2.rope.scaling.type qwen2.attention.key_length qwen2.attention.value_length "
    "qwen2.attention.sliding_window qwen2.expert_count qwen2.expert_used_count qwen2.vocab_size "
    "qwen2.pooling_type qwen2.attention.causal qwen2.tensor_data_layout general.file_type "
    "general.quantization_version general.type general.alignment split.count split.no "
    "adapter.type tokenizer.ggml.add_space_prefix tokenizer.ggml.token_type_count "
    "tokenizer.ggml.remove_extra_whitespaces";

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
    std::vector<QByteArray> all;
    for (const QByteArray &key : QByteArray(furtherKeys).split(' '))
        all.push_back(key);
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

std::vector<Hostile> HostileModels::metadata()
{
    List list;
    addNumbers(list);
    addCounts(list);
    for (const QByteArray &architecture : QByteArray(architectures).split(' ')) {
        list.add("as " + architecture, [architecture](GgufFile &file) {
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
        const auto seed = static_cast<unsigned>(random());
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
