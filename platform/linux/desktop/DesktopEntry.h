#pragma once

#include "base/ProcessId.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

/// An application as its desktop entry describes it, read from that file alone. Main thread.
struct DesktopEntry
{
    QString location;       ///< The path of the entry.
    QStringList names;      ///< In the user's language, then untranslated.
    QByteArray commandLine; ///< With its field codes.
    QString program;        ///< The file name of the program.
    QString folder;         ///< Its working directory; empty for the home.
    QString icon;
    QString claimedClass; ///< WM_CLASS of its windows.
    QStringList categories;
    bool isHidden = false; ///< Removes the entries with its id.
    bool isShown = true;   ///< In the menus of this desktop.
    bool needsTerminal = false;
    bool startsByBus = false; ///< The session bus starts it, by the name of its id.

    /// Nothing if the file does not describe an application that can be started.
    [[nodiscard]] static std::optional<DesktopEntry> at(const QString &location);

    /// Whether it accepts addresses, not only paths.
    [[nodiscard]] bool takesAddresses() const;

    struct Started
    {
        std::optional<QString> failure{}; ///< One sentence.
        ProcessId leader{}; ///< The leader of the new session; 0 if another process starts it.
    };

    /// Starts the application, with an address if there is one.
    [[nodiscard]] Started start(const QByteArray &uri = {}) const;
};
