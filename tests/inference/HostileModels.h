#pragma once

#include "tests/support/TestModel.h"

#include <QByteArray>

#include <functional>
#include <vector>

/// About 1,500 model files as an attacker would create them: each is a good file with one change in
/// what the library reads. They are the same in every run.
namespace HostileModels {
struct Hostile
{
    QByteArray name;                     ///< What is wrong with it.
    std::function<QByteArray()> content; ///< Created on demand, to save memory.
};

/// The good file on which most are based.
[[nodiscard]] TestModel good();

/// Every type of weights, for single tensors and for all of them, with both sizes of blocks.
[[nodiscard]] std::vector<Hostile> types();
/// Tensors with wrong dimensions.
[[nodiscard]] std::vector<Hostile> shapes();
/// Vocabularies of every kind: damaged, endless, contradictory.
[[nodiscard]] std::vector<Hostile> tokenizers();
/// Chat templates of every format that the library knows, and invalid ones.
[[nodiscard]] std::vector<Hostile> templates();
/// Every key with values of many types, every architecture, large numbers of keys and tensors.
[[nodiscard]] std::vector<Hostile> metadata();
/// Random changes of bits and bytes in front of the weights.
[[nodiscard]] std::vector<Hostile> noise();
} // namespace HostileModels
