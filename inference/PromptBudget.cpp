#include "inference/PromptBudget.h"

#include <algorithm>

bool PromptBudget::fit(std::vector<std::int32_t> &tokens, int maxTokens)
{
    const std::int64_t budget = std::int64_t(contextSize) - maxTokens;
    if (std::int64_t(tokens.size()) <= budget)
        return true;
    if (budget < smallestPrompt)
        return false;
    const std::int64_t head = std::min<std::int64_t>(budget / 2, keptHead);
    tokens.erase(tokens.begin() + head, tokens.end() - (budget - head));
    return true;
}
