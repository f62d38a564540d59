#pragma once

#include <QString>

#include <optional>
#include <variant>

/// The system could not create a script from the source.
struct NoScript
{
    bool operator==(const NoScript &) const = default;
};

/// The script does not compile, or failed while running.
struct ScriptError
{
    std::optional<QString> message; ///< The system's message, if there is one.

    bool operator==(const ScriptError &) const = default;
};

/// The script ran to completion.
struct ScriptResult
{
    std::optional<QString> text; ///< The result, if it can be converted to text.

    bool operator==(const ScriptResult &) const = default;
};

using ScriptOutcome = std::variant<NoScript, ScriptError, ScriptResult>;

/// The system's scripting. Main thread only.
class Scripts
{
public:
    virtual ~Scripts() = default;

    /// Compiles and runs the source. The system requires the main thread for this and blocks it
    /// while the script runs.
    [[nodiscard]] virtual ScriptOutcome run(const QString &source) = 0;
};
