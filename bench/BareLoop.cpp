#include "bench/BareLoop.h"

#include <llama.h>

#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

namespace {
std::string promptText(const llama_model *model, const QList<ChatMessage> &conversation)
{
    std::vector<std::string> texts;
    std::size_t length = 0;
    for (const ChatMessage &message : conversation) {
        texts.push_back(rawText(message.role).toStdString());
        texts.push_back(message.content.toStdString());
        length += 2 * (texts.back().size() + 64);
    }
    std::vector<llama_chat_message> messages;
    for (std::size_t i = 0; i < texts.size(); i += 2)
        messages.push_back({texts[i].c_str(), texts[i + 1].c_str()});
    std::string prompt(length, '\0');
    const int used = llama_chat_apply_template(llama_model_chat_template(model, nullptr),
                                               messages.data(), messages.size(), true,
                                               prompt.data(), static_cast<int>(prompt.size()));
    if (used < 0 || static_cast<std::size_t>(used) > prompt.size())
        throw std::runtime_error("The prompt could not be formatted.");
    prompt.resize(static_cast<std::size_t>(used));
    return prompt;
}
} // namespace

void BareLoop::Freed::operator()(llama_model *model) const
{
    llama_model_free(model);
}

void BareLoop::Freed::operator()(llama_context *context) const
{
    llama_free(context);
}

BareLoop::BareLoop(const QString &modelPath)
{
    llama_backend_init();
    llama_model_params modelParameters = llama_model_default_params();
    modelParameters.n_gpu_layers = 99;
    m_model.reset(llama_model_load_from_file(modelPath.toUtf8().constData(), modelParameters));
    if (!m_model)
        throw std::runtime_error("The model could not be loaded.");
    llama_context_params contextParameters = llama_context_default_params();
    contextParameters.n_ctx = 4096;
    contextParameters.n_batch = 512;
    m_context.reset(llama_init_from_model(m_model.get(), contextParameters));
    if (!m_context)
        throw std::runtime_error("The context could not be made.");
}

BareLoop::~BareLoop() = default;

std::vector<std::int32_t> BareLoop::prompt(const QList<ChatMessage> &conversation) const
{
    const std::string text = promptText(m_model.get(), conversation);
    std::vector<llama_token> tokens(text.size() + 16);
    const int count = llama_tokenize(llama_model_get_vocab(m_model.get()), text.data(),
                                     static_cast<int>(text.size()), tokens.data(),
                                     static_cast<int>(tokens.size()), true, true);
    if (count < 1)
        throw std::runtime_error("The prompt could not be tokenized.");
    tokens.resize(static_cast<std::size_t>(count));
    return tokens;
}

std::string BareLoop::generate(const QList<ChatMessage> &conversation, int maxTokens,
                               const std::function<void(const std::string &piece)> &onToken)
{
    const llama_vocab *const vocabulary = llama_model_get_vocab(m_model.get());
    std::vector<llama_token> tokens = prompt(conversation);
    const int count = static_cast<int>(tokens.size());
    llama_memory_clear(llama_get_memory(m_context.get()), true);
    const std::unique_ptr<llama_sampler, decltype(&llama_sampler_free)> sampler(
        llama_sampler_chain_init(llama_sampler_chain_default_params()), &llama_sampler_free);
    llama_sampler_chain_add(sampler.get(), llama_sampler_init_top_k(40));
    llama_sampler_chain_add(sampler.get(), llama_sampler_init_temp(0.2F));
    llama_sampler_chain_add(sampler.get(),
                            llama_sampler_init_dist(QRandomGenerator::system()->generate()));

    const auto decode = [this](llama_token *first, int length) {
        if (llama_decode(m_context.get(), llama_batch_get_one(first, length)) != 0)
            throw std::runtime_error("The library could not decode.");
    };
    constexpr int batchSize = 512;
    for (int begin = 0; begin < count; begin += batchSize)
        decode(tokens.data() + begin, std::min(batchSize, count - begin));

    std::string reply;
    std::array<char, 64> piece{};
    for (int step = 0; step < maxTokens; ++step) {
        llama_token token = llama_sampler_sample(sampler.get(), m_context.get(), -1);
        if (llama_vocab_is_eog(vocabulary, token))
            break;
        const int length =
            llama_token_to_piece(vocabulary, token, piece.data(), piece.size(), 0, false);
        const std::string bytes(piece.data(), static_cast<std::size_t>(std::max(length, 0)));
        reply += bytes;
        onToken(bytes);
        if (step + 1 < maxTokens)
            decode(&token, 1);
    }
    return reply;
}
