#pragma once

#include <QString>

/// The metadata in front of a GGUF file's weights. llama.cpp trusts it, this program must not: the
/// library compares each key with all the others, and calls a null function if a matrix has a type
/// without a multiplication.
namespace ModelFile {
/// Throws loadFailed unless the library can load the file safely: a regular file that is not split,
/// with a plausible number of keys, tensors and bytes in front of the weights, and only weights
/// that it can compute with. Does not read weights; its time and memory are bounded. Blocking, any
/// thread; needs an AbortGuard.
void requireLoadable(const QString &path);
} // namespace ModelFile
