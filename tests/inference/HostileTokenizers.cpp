#include "tests/inference/HostileModelList.h"

#include <gguf.h>

#include <algorithm>
#include <array>

using namespace HostileModels;

namespace {
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

// Each cuts a thousand letters in another way.
constexpr auto preTokenizers =
    "default minicpm5 llama3 llama-bpe falcon3 falcon-h1 pixtral lfm2 deepseek-llm deepseek-coder "
    "deepseek-v3 youtu falcon mpt starcoder gpt-2 phi-2 jina-es gigachat a.x-4.0 mellum "
    "modern-bert jais-2 gemma4 jina-v1-en jina-v2-code roberta-bpe whitespace refact command-r "
    "qwen2 kormo qwen35 stablelm2 olmo dbrx smaug-bpe poro-chat glm4 chatglm-bpe viking jais "
    "tekken smollm codeshell bloom gpt3-finnish exaone exaone4 exaone-moe chameleon minerva-7b "
    "megrez gpt-4o llama4 kanana2 tiny_aya superbpe trillion granite-docling bailingmoe llada-moe "
    "seed-coder hunyuan hunyuan-dense kimi-k2 grok-2 afmoe minimax-m2 solar-open";

// The marks by which the library recognises the formats of chat templates.
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

template <typename Number>
void setNumbers(GgufFile &file, const QByteArray &key, std::uint32_t type,
                const std::vector<Number> &numbers)
{
    file.set(key, GGUF_TYPE_ARRAY, GgufFile::numbers(type, numbers));
}

// One token or all of them are replaced by something invalid.
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

// Further data that the tokenizers read, valid and invalid.
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
} // namespace

std::vector<Hostile> HostileModels::tokenizers()
{
    List list;
    const auto addPreTokenizer = [&](const QByteArray &name) {
        list.add(name, [name](GgufFile &file) { setText(file, "tokenizer.ggml.pre", name); });
    };
    for (const QByteArray &name : QByteArray(preTokenizers).split(' '))
        addPreTokenizer(name);
    addPreTokenizer("a name of our own");
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
