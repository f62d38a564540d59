#pragma once

#include "tests/inference/GgufFile.h"
#include "tests/inference/HostileModels.h"

#include <functional>
#include <limits>
#include <utility>
#include <vector>

/// Helpers to make hostile models.
namespace HostileModels {
using Change = std::function<void(GgufFile &)>;

constexpr auto huge = std::numeric_limits<std::uint64_t>::max();

/// A good file with short rows, in which only types with blocks of 32 weights fit.
[[nodiscard]] const GgufFile &narrow();
/// The same with rows for blocks of 256 weights.
[[nodiscard]] const GgufFile &wide();

/// Random bytes, always the same.
[[nodiscard]] QByteArray noiseBytes(std::size_t count);

void setText(GgufFile &file, const QByteArray &key, const QByteArray &text);

class List
{
public:
    void add(const QByteArray &name, Change change, const GgufFile &base = narrow())
    {
        m_models.push_back({name, [change = std::move(change), &base] {
                                GgufFile file = base;
                                change(file);
                                return file.bytes();
                            }});
    }

    void addBytes(const QByteArray &name, std::function<QByteArray()> content)
    {
        m_models.push_back({name, std::move(content)});
    }

    std::vector<Hostile> take() { return std::move(m_models); }

private:
    std::vector<Hostile> m_models;
};
} // namespace HostileModels
