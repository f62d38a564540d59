#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <utility>
#include <vector>

/// A model file with arbitrary content: its parts are written unchecked, while the library's writer
/// would refuse or repair invalid ones.
struct GgufFile
{
    struct Key
    {
        QByteArray name;
        std::uint32_t type = 0;
        QByteArray value; ///< As it is in the file.
    };

    struct Tensor
    {
        QByteArray name;
        std::vector<std::uint64_t> dimensions;
        std::uint32_t type = 0;
        QByteArray weights;
    };

    std::vector<Key> keys;
    std::vector<Tensor> tensors;

    /// Reads a well-formed file. Throws std::runtime_error for any other.
    [[nodiscard]] static GgufFile read(const QString &path);

    [[nodiscard]] QByteArray bytes() const;

    /// The key with that name, which must exist.
    [[nodiscard]] Key &key(const QByteArray &name);
    /// Sets or adds the key.
    void set(const QByteArray &name, std::uint32_t type, QByteArray value);
    /// The tensor with that name, which must exist.
    [[nodiscard]] Tensor &tensor(const QByteArray &name);

    /// Values as they are in a file.
    template <typename Number>
    [[nodiscard]] static QByteArray plain(Number number)
    {
        return {reinterpret_cast<const char *>(&number), sizeof number};
    }
    [[nodiscard]] static QByteArray text(const QByteArray &text);
    [[nodiscard]] static QByteArray texts(const std::vector<QByteArray> &texts);
    template <typename Number>
    [[nodiscard]] static QByteArray numbers(std::uint32_t type, const std::vector<Number> &values)
    {
        QByteArray array = plain(type) + plain(std::uint64_t{values.size()});
        for (const Number &each : values)
            array += plain(each);
        return array;
    }
};
