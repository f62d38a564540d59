#pragma once

#include <QObject>

/// The global hot key, Option+Space, that shows and hides the panel. Main thread; one per process.
class HotKey final : public QObject
{
    Q_OBJECT

public:
    static HotKey &shared();

    /// Registers the hot key. May be called once. If that fails, the application runs without one.
    void registerKey();

    /// Toggles the panel: hides the application if the panel has the focus; otherwise brings it to
    /// the front, centred.
    static void summon();

    /// Brings the panel to the front, centred, also if it is in front already.
    static void show();

Q_SIGNALS:
    /// Emitted by registerKey(), also if the key belongs to another program.
    void keyRegistered();
    /// Emitted after every summon that shows the panel.
    void summonPalette();

private:
    HotKey() = default;
};
