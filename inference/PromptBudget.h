#pragma once

#include <cstdint>
#include <vector>

/// How many tokens there are, and which of them a prompt may have.
namespace PromptBudget {
/// What prompt and reply have room in together.
inline constexpr int contextSize = 4096;
/// The most that stays of the beginning of a prompt that is too long: the system prompt's part.
inline constexpr int keptHead = 900;
/// A prompt cut to fewer tokens would say nothing.
inline constexpr int smallestPrompt = 65;

/// Cuts the middle out of a prompt that leaves no room for the reply: its beginning stays, and its
/// end with the latest exchange. False if too little of it would be left.
[[nodiscard]] bool fit(std::vector<std::int32_t> &tokens, int maxTokens);
} // namespace PromptBudget
