#pragma once

#include <cstdint>
#include <vector>

/// The size of the context in tokens, and how it is shared by prompt and reply.
namespace PromptBudget {
/// For prompt and reply together.
inline constexpr int contextSize = 4096;
/// How much of the beginning of a too long prompt is kept at most: the system prompt.
inline constexpr int keptHead = 900;
/// A prompt of fewer tokens would be useless.
inline constexpr int smallestPrompt = 65;

/// Cuts the middle out of a prompt that leaves no room for the reply, keeping its beginning and its
/// end with the latest messages. False if too little of it would be left.
[[nodiscard]] bool fit(std::vector<std::int32_t> &tokens, int maxTokens);
} // namespace PromptBudget
