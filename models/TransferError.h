#pragma once

#include <QString>

#include <stdexcept>

/// The failure of a download. what() is one sentence for the user in UTF-8, mostly the system's.
class TransferError final : public std::runtime_error
{
public:
    explicit TransferError(const QString &sentence) : std::runtime_error(sentence.toStdString()) {}

    [[nodiscard]] QString description() const { return QString::fromUtf8(what()); }
};
