#pragma once

#include <QString>

#include <exception>
#include <functional>

/// A failure to load a model or to generate text. what() is a sentence for the user in UTF-8.
class InferenceError : public std::exception
{
public:
    enum Case { notLoaded, loadFailed, contextFailed, tokenizeFailed, decodeFailed };

    // Implicit, so that errors can be compared with a case.
    InferenceError(Case reason) noexcept : m_case(reason) {}

    [[nodiscard]] Case reason() const noexcept { return m_case; }
    [[nodiscard]] QString description() const { return QString::fromUtf8(what()); }
    [[nodiscard]] const char *what() const noexcept override;

    friend bool operator==(const InferenceError &a, const InferenceError &b) noexcept
    {
        return a.m_case == b.m_case;
    }

private:
    Case m_case;
};

template <>
struct std::hash<InferenceError>
{
    std::size_t operator()(const InferenceError &error) const noexcept
    {
        return std::hash<int>()(error.reason());
    }
};
