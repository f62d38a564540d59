#pragma once

#include <QString>

/// A GGUF file with the size and shape of a real 1.5-billion-parameter instruct model in Q4_K_M (28
/// layers of the qwen2 architecture, 151,936 tokens, 1 GB) but random weights: it needs the same
/// computations and generates random text. Its vocabulary is invented, one token for each byte and
/// words that no prompt contains, so that a prompt's tokens are its bytes; none of the tokens that
/// it can choose ends the generation.
namespace ShapedModel {
/// The file's path, in the user's cache folder. The first call writes the file (about 20 s), later
/// ones reuse it. Throws std::runtime_error with a sentence if there is no space or it cannot be
/// written.
[[nodiscard]] QString path();
} // namespace ShapedModel
