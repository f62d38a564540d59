#pragma once

#include "agent/action/AgentAction.h"
#include "base/Cancellation.h"
#include "platform/Workspace.h"

#include <QCoro/QCoroTask>
#include <QString>
#include <QStringList>

#include <optional>

/// Performs one action on the user's machine and describes the desktop to the model. Main thread,
/// one action at a time, through Platform::current(). Failures are an ActionError, or a
/// PlatformError that is passed on unchanged.
namespace Executor {
/// The application in front if the action is for that one, or nothing. To be asked once for each
/// step: what is assessed and approved for one application must not reach another. Throws a
/// PlatformError if the desktop does not answer.
[[nodiscard]] std::optional<Application> frontFor(const AgentAction &action);

/// Performs the action, for that application if it is for the one in front, and returns one line on
/// what happened. Cancelling shortens the waits but never aborts the action.
[[nodiscard]] QCoro::Task<QString> run(AgentAction action, std::optional<Application> front,
                                       CancellationToken cancellation = {});

/// The same for the application that is in front now.
[[nodiscard]] QCoro::Task<QString> run(AgentAction action, CancellationToken cancellation = {});

/// One line on the desktop: the application in front and the open windows. Does not throw.
[[nodiscard]] QString observe();

/// The open windows from front to back, at most eight, or "none".
[[nodiscard]] QString windowSummary();

/// Presses the control of the application that has this label, or else the first one whose label
/// contains it, if the application is still in front. Blocks for about two seconds at most.
[[nodiscard]] QCoro::Task<QString> click(QString label, std::optional<Application> front);

/// The same for the application that is in front now.
[[nodiscard]] QString click(const QString &label);

/// Up to forty of the controls in the application, on one line. Blocks for about two seconds at
/// most.
[[nodiscard]] QString readUI(const std::optional<Application> &front);

/// The same for the application that is in front now.
[[nodiscard]] QString readUI();

/// Starts the application of that name or brings it to the front, and returns what it is called.
[[nodiscard]] QCoro::Task<QString> launch(QString name, CancellationToken cancellation = {});

/// The location of the application that a name means: of a running one, of an installed one with
/// exactly that name, or of the first installed one whose name contains it.
[[nodiscard]] std::optional<QString> appURL(const QString &name);

/// The running ordinary application that a name means.
[[nodiscard]] std::optional<Application> runningApp(const QString &name);

/// Opens a web address in that application, or in the default browser.
[[nodiscard]] QCoro::Task<QString> openURL(QString text, std::optional<QString> app,
                                           CancellationToken cancellation = {});

/// Types the text unchanged into the application. Stops with an ActionError when another one comes
/// to the front. Cannot be cancelled.
[[nodiscard]] QCoro::Task<void> typeText(QString text, std::optional<Application> front);

/// The same for the application that is in front now.
[[nodiscard]] QCoro::Task<void> typeText(QString text);

/// Presses one key with modifiers, if the application is still in front.
[[nodiscard]] QCoro::Task<void> keystroke(QString key, QStringList modifiers,
                                          std::optional<Application> front);

/// The same for the application that is in front now.
[[nodiscard]] QCoro::Task<void> keystroke(QString key, QStringList modifiers);

/// The text in pieces of that many graphemes; the last one may be shorter.
[[nodiscard]] QStringList chunked(const QString &text, qsizetype size);

/// The location that a folder word ("my downloads"), a ~ path, an absolute path or a path under
/// the home folder means.
[[nodiscard]] QString resolveFolder(const QString &text);

/// Lists the folder's matching entries, newest first, and reveals the newest.
[[nodiscard]] QString findFiles(const QString &folder, const std::optional<QString> &extension,
                                const std::optional<QString> &query);

/// Captures the screen into a PNG file.
[[nodiscard]] QCoro::Task<void> screenshot(QString file);

/// Runs a script in the system's scripting language and returns a sentence with its result. Blocks
/// while it runs.
[[nodiscard]] QString appleScript(const QString &source);
} // namespace Executor
