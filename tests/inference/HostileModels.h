#pragma once

#include "tests/support/TestModel.h"

#include <QByteArray>

#include <functional>
#include <vector>

/// Model files as an attacker would make them: some 1,500, each of them a good file with one
/// thing changed that the library reads. The same ones in every run.
namespace HostileModels {
struct Hostile
{
    QByteArray name;                     ///< What is wrong with it.
    std::function<QByteArray()> content; ///< Made when it is asked for, since all are many bytes.
};

/// The good file that most of them are made of.
[[nodiscard]] TestModel good();

/// Every type of weights for tensors of each kind and for all of them, in both sizes of blocks.
[[nodiscard]] std::vector<Hostile> types();
/// Tensors of wrong dimensions.
[[nodiscard]] std::vector<Hostile> shapes();
/// Vocabularies: of every kind, damaged, endless, contradictory.
[[nodiscard]] std::vector<Hostile> tokenizers();
/// Chat templates: of every format that the library knows, and no templates at all.
[[nodiscard]] std::vector<Hostile> templates();
/// Every key with values of many types, every architecture, keys and tensors in large numbers.
[[nodiscard]] std::vector<Hostile> metadata();
/// Bits and bytes in front of the weights that were changed at random.
[[nodiscard]] std::vector<Hostile> noise();
} // namespace HostileModels
