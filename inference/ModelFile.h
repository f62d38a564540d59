#pragma once

#include <QString>

/// What a GGUF file says of itself in front of its weights. The library trusts that part of a file
/// where this program must not: it compares each key with all the others, and calls a function that
/// does not exist when a matrix has a type that nothing can be multiplied with.
namespace ModelFile {
/// Throws loadFailed unless the library can take the file: a regular file of one part, with as many
/// keys, tensors and bytes in front of the weights as a model may need, and only weights that it
/// can compute with. Reads no weights. The time and the memory that it takes have a bound.
/// Blocking, any thread; an AbortGuard has to be there.
void requireLoadable(const QString &path);
} // namespace ModelFile
