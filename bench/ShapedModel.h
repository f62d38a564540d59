#pragma once

#include <QString>

/// A GGUF file of the size and shape of a real 1.5-billion-parameter instruct model in Q4_K_M
/// (28 layers of the qwen2 architecture, 151,936 tokens, 1 GB) with random weights: it computes
/// what the real one computes and says nothing. Its vocabulary is made up, one token a byte and
/// words that no prompt contains, so that a prompt's tokens are its bytes; none of the tokens that
/// it can choose ends the generation.
namespace ShapedModel {
/// The file's path, in this user's cache folder. Written at the first call (about 20 s) and used
/// again afterwards. Throws std::runtime_error with a sentence where there is no room for it or it
/// cannot be written.
[[nodiscard]] QString path();
} // namespace ShapedModel
