#pragma once

#include <QString>

#include <optional>
#include <variant>

/// No script could be made of the source at all, so none ran.
struct NoScript
{
    bool operator==(const NoScript &) const = default;
};

/// The script does not compile, or failed while it ran.
struct ScriptError
{
    std::optional<QString> message; ///< The system's own, where it has one.

    bool operator==(const ScriptError &) const = default;
};

/// The script ran to its end.
struct ScriptResult
{
    std::optional<QString> text; ///< What it returned, where that can be put as text.

    bool operator==(const ScriptResult &) const = default;
};

using ScriptOutcome = std::variant<NoScript, ScriptError, ScriptResult>;

/// The system's scripting. Main thread only.
class Scripts
{
public:
    virtual ~Scripts() = default;

    /// Compiles the source and runs it. The system wants this on the main thread, which it holds
    /// for as long as the script runs.
    [[nodiscard]] virtual ScriptOutcome run(const QString &source) = 0;
};
