#pragma once

#include <QString>

#include <stdexcept>

/// A failure that the operating system reports, in its own words. what() is one user-facing
/// sentence in UTF-8.
class PlatformError : public std::runtime_error
{
public:
    explicit PlatformError(const QString &sentence) : std::runtime_error(sentence.toStdString()) {}
};
