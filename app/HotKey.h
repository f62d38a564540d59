#pragma once

#include <QObject>

/// The global hot key, Option+Space, that shows and hides the panel from anywhere in the system.
/// Main thread; one for the whole process.
class HotKey final : public QObject
{
    Q_OBJECT

public:
    static HotKey &shared();

    /// Installs the hot key, once. Where that fails, the application simply runs without one.
    void registerKey();

    /// Toggles the panel: hides the application while the panel has the keyboard, else brings it to
    /// the front, centred.
    static void summon();

    /// Brings the panel to the front, centred, also where it is there already.
    static void show();

Q_SIGNALS:
    /// After every summon that shows the panel.
    void summonPalette();

private:
    HotKey() = default;
};
