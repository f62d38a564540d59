#pragma once

#include <QString>

/// The models folder from a terminal. Each does its work, says in a few lines what came of it, and
/// returns the exit status. Main thread, with a QCoreApplication that does not run yet.
namespace ModelCommands {
/// Takes a file that the user has for the chosen model's: loads it once to see that it works, then
/// puts it into the models folder.
[[nodiscard]] int import(const QString &path);

/// Prints what is in the models folder and what is not.
[[nodiscard]] int list();

/// Removes a model's file, named by the model's id or by its own name.
[[nodiscard]] int remove(const QString &name);
} // namespace ModelCommands
