#include "inference/LlamaModel.h"

#include "inference/AbortGuard.h"
#include "inference/ChatMl.h"
#include "inference/GgmlBackends.h"
#include "inference/LibraryLog.h"
#include "inference/MappedFileGuard.h"
#include "inference/ModelFile.h"
#include "inference/PromptBudget.h"
#include "inference/Utf8Assembler.h"

#include <QFileInfo>
#include <QRandomGenerator>
#include <QThread>

#include <llama.h>

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace {
// Number of prompt tokens per decoding call: the default of the library's compute batch, so that a
// call is one batch.
constexpr std::uint32_t batchSize = 512;
// More layers than our models have: the whole model is offloaded to the GPU.
constexpr std::int32_t gpuLayers = 99;

// Sampling parameters: nearly always the likeliest token, since replies must keep to a format.
constexpr std::int32_t topK = 40;
constexpr float temperature = 0.2F;

// A first guess of what a chat template adds to one message; if it adds more, it is called again.
constexpr qsizetype templateBytesPerMessage = 64;
// Room for tokens that a template or the model adds to those of the prompt's bytes.
constexpr std::size_t spareTokens = 16;
// The longest text of a token; longer ones are not part of replies and are ignored.
constexpr std::size_t pieceBytes = 64;

constexpr auto int32Max = std::numeric_limits<std::int32_t>::max();

struct Free
{
    void operator()(llama_model *model) const { llama_model_free(model); }
    void operator()(llama_context *context) const { llama_free(context); }
    void operator()(llama_sampler *sampler) const { llama_sampler_free(sampler); }
};
using Model = std::unique_ptr<llama_model, Free>;
using Context = std::unique_ptr<llama_context, Free>;
using Sampler = std::unique_ptr<llama_sampler, Free>;

void log(ggml_log_level level, const char *text, void *)
{
    switch (level) {
    case GGML_LOG_LEVEL_CONT:
        LibraryLog::append(text);
        break;
    case GGML_LOG_LEVEL_ERROR:
        LibraryLog::write(QtCriticalMsg, text);
        break;
    case GGML_LOG_LEVEL_WARN:
        LibraryLog::write(QtWarningMsg, text);
        break;
    case GGML_LOG_LEVEL_INFO:
        LibraryLog::write(QtInfoMsg, text);
        break;
    default:
        LibraryLog::write(QtDebugMsg, text);
        break;
    }
}

void prepareLibraryOnce()
{
    [[maybe_unused]] static const bool prepared = [] {
        llama_log_set(log, nullptr);
        ggml_set_abort_callback(AbortGuard::onAbort);
        GgmlBackends::load();
        return true;
    }();
}

// A call to the library that runs on this thread only. All its exceptions and aborts become the
// given failure.
template <typename Call>
auto failingWith(InferenceError::Case failure, const Call &call)
{
    try {
        const AbortGuard guard;
        return call();
    } catch (const InferenceError &) {
        throw;
    } catch (...) {
        throw InferenceError(failure);
    }
}

Model loadModel(const QString &path)
{
    return failingWith(InferenceError::loadFailed, [&] {
        llama_backend_init();
        ModelFile::requireLoadable(path);
        llama_model_params params = llama_model_default_params();
        params.n_gpu_layers = gpuLayers;
        const MappedFileGuard mapped;
        Model model(llama_model_load_from_file(path.toUtf8().constData(), params));
        if (!model || mapped.hasMissed())
            throw InferenceError(InferenceError::loadFailed);
        return model;
    });
}

Context makeContext(llama_model *model)
{
    return failingWith(InferenceError::contextFailed, [&] {
        llama_context_params params = llama_context_default_params();
        params.n_ctx = PromptBudget::contextSize;
        params.n_batch = batchSize;
        Context context(llama_init_from_model(model, params));
        if (!context)
            throw InferenceError(InferenceError::contextFailed);
        return context;
    });
}

// The conversation in the template's format; nothing if the library does not know the template.
std::optional<QByteArray> applyTemplate(const char *chatTemplate,
                                        const QList<ChatMessage> &conversation)
{
    std::vector<std::pair<QByteArray, QByteArray>> texts;
    std::vector<llama_chat_message> messages;
    qsizetype size = 0;
    texts.reserve(static_cast<std::size_t>(conversation.size()));
    for (const ChatMessage &message : conversation) {
        const auto &[role, content] =
            texts.emplace_back(rawText(message.role).toUtf8(), message.content.toUtf8());
        messages.push_back({role.constData(), content.constData()});
        size += 2 * (content.size() + templateBytesPerMessage);
    }
    if (size > int32Max)
        throw InferenceError(InferenceError::tokenizeFailed);

    QByteArray prompt(size, '\0');
    const auto apply = [&] {
        return llama_chat_apply_template(chatTemplate, messages.data(), messages.size(), true,
                                         prompt.data(), static_cast<std::int32_t>(prompt.size()));
    };
    std::int32_t length = apply();
    if (length > prompt.size()) {
        prompt = QByteArray(qsizetype(length) + 1, '\0');
        length = apply();
    }
    if (length < 0 || length > prompt.size())
        return std::nullopt;
    prompt.truncate(length);
    return prompt;
}

QByteArray formatPrompt(const llama_model *model, const QList<ChatMessage> &conversation)
{
    if (const char *chatTemplate = llama_model_chat_template(model, nullptr)) {
        if (const std::optional<QByteArray> prompt = applyTemplate(chatTemplate, conversation)) {
            // A template may split a character, and the tokenizer needs valid UTF-8.
            return prompt->isValidUtf8() ? *prompt : QString::fromUtf8(*prompt).toUtf8();
        }
    }
    return chatMlPrompt(conversation);
}

std::vector<llama_token> tokenize(const llama_vocab *vocabulary, const QByteArray &prompt)
{
    std::vector<llama_token> tokens(static_cast<std::size_t>(prompt.size()) + spareTokens);
    if (tokens.size() > std::size_t(int32Max))
        throw InferenceError(InferenceError::tokenizeFailed);
    // With the start token if the model uses one, and with special tokens for the template's
    // markers.
    const std::int32_t count =
        llama_tokenize(vocabulary, prompt.constData(), static_cast<std::int32_t>(prompt.size()),
                       tokens.data(), static_cast<std::int32_t>(tokens.size()), true, true);
    if (count < 1)
        throw InferenceError(InferenceError::tokenizeFailed);
    tokens.resize(static_cast<std::size_t>(count));
    return tokens;
}

Sampler makeSampler()
{
    Sampler chain(llama_sampler_chain_init(llama_sampler_chain_default_params()));
    if (!chain)
        throw InferenceError(InferenceError::contextFailed);
    const auto seed = static_cast<std::uint32_t>(QRandomGenerator::system()->generate64());
    llama_sampler_chain_add(chain.get(), llama_sampler_init_top_k(topK));
    llama_sampler_chain_add(chain.get(), llama_sampler_init_temp(temperature));
    llama_sampler_chain_add(chain.get(), llama_sampler_init_dist(seed));
    return chain;
}

// The library asks for four threads. They wait for each other hundreds of times per token, so that
// one without a processor of its own would delay all others each time.
int computingThreads()
{
    const llama_context_params defaults = llama_context_default_params();
    const int wanted = std::max(defaults.n_threads, defaults.n_threads_batch);
#ifdef _OPENMP
    return std::min(wanted, QThread::idealThreadCount());
#else
    return wanted;
#endif
}

std::int32_t decode(llama_context *context, const llama_batch &batch)
{
    std::int32_t status = 0;
    std::exception_ptr failure; // none may leave the block below
#ifdef _OPENMP
#pragma omp teams num_teams(1) thread_limit(computingThreads())
#endif
    {
        try {
            status = llama_decode(context, batch);
        } catch (...) {
            failure = std::current_exception();
        }
    }
    if (failure)
        std::rethrow_exception(failure);
    return status;
}

void decode(llama_context *context, llama_token *tokens, std::size_t count,
            const std::function<void()> &lost)
{
    const AbortGuard guard(lost, computingThreads());
    for (std::size_t at = 0; at < count; at += batchSize) {
        const std::size_t chunk = std::min<std::size_t>(count - at, batchSize);
        const llama_batch batch =
            llama_batch_get_one(tokens + at, static_cast<std::int32_t>(chunk));
        if (decode(context, batch) != 0)
            throw InferenceError(InferenceError::decodeFailed);
    }
}

std::string_view textOf(llama_token token, const llama_vocab *vocabulary,
                        std::array<char, pieceBytes> &buffer)
{
    const std::int32_t length = llama_token_to_piece(
        vocabulary, token, buffer.data(), static_cast<std::int32_t>(buffer.size()), 0, false);
    return length < 1 ? std::string_view()
                      : std::string_view(buffer.data(), static_cast<std::size_t>(length));
}
} // namespace

struct LlamaModel::Handles
{
    Model model;
    Context context; // destroyed before the model
};

LlamaModel::LlamaModel(const QString &path) : m_file(path)
{
    prepareLibraryOnce();
    // Opening a named pipe would wait for its writer.
    if (!QFileInfo(path).isFile() || !m_file.open(QIODevice::ReadOnly))
        throw InferenceError(InferenceError::loadFailed);
    m_size = m_file.size();
    m_changed = m_file.fileTime(QFileDevice::FileModificationTime);
    Model model = loadModel(path);
    Context context = makeContext(model.get());
    m_handles = std::make_unique<Handles>(Handles{std::move(model), std::move(context)});
}

LlamaModel::~LlamaModel() = default;

LlamaModel::Library LlamaModel::library()
{
    prepareLibraryOnce();
    return {QString::fromUtf8(llama_version()), GgmlBackends::names(), GgmlBackends::extensions()};
}

// Compares the open file: a new file at the same path does not matter.
bool LlamaModel::hasFileChanged() const
{
    return m_file.size() != m_size ||
           m_file.fileTime(QFileDevice::FileModificationTime) != m_changed;
}

QString LlamaModel::generate(const QList<ChatMessage> &conversation, int maxTokens,
                             const InferenceEngine::OnToken &onToken,
                             const std::function<void()> &lost)
{
    llama_context *context = m_handles->context.get();
    const llama_vocab *vocabulary = llama_model_get_vocab(m_handles->model.get());
    if (vocabulary == nullptr)
        throw InferenceError(InferenceError::notLoaded);

    std::vector<llama_token> prompt = failingWith(InferenceError::tokenizeFailed, [&] {
        return tokenize(vocabulary, formatPrompt(m_handles->model.get(), conversation));
    });
    if (!PromptBudget::fit(prompt, maxTokens))
        throw InferenceError(InferenceError::tokenizeFailed);

    return failingWith(InferenceError::decodeFailed, [&] {
        const MappedFileGuard mapped;
        llama_memory_clear(llama_get_memory(context), true);
        const Sampler sampler = makeSampler();
        QString text;
        Utf8Assembler assembler;
        std::array<char, pieceBytes> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init)
        llama_token token = 0;
        for (int step = 0; step < maxTokens; ++step) {
            if (step == 0)
                decode(context, prompt.data(), prompt.size(), lost);
            else
                decode(context, &token, 1, lost);
            if (mapped.hasMissed() || hasFileChanged()) {
                m_isDamaged = true;
                throw InferenceError(InferenceError::decodeFailed);
            }
            token = llama_sampler_sample(sampler.get(), context, -1);
            if (llama_vocab_is_eog(vocabulary, token))
                break;
            if (const auto piece = assembler.add(textOf(token, vocabulary, buffer))) {
                text += *piece;
                if (onToken)
                    onToken(*piece);
            }
        }
        return text;
    });
}
