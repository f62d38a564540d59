#pragma once

#include <QString>

#include <exception>
#include <functional>

/// Why an engine could not load or generate. what() is the user-facing sentence in UTF-8.
class InferenceError : public std::exception
{
public:
    enum Case { notLoaded, loadFailed, contextFailed, tokenizeFailed, decodeFailed };

    // Implicit, so that an error is thrown and compared by its case's name.
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
