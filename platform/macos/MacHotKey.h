#pragma once

#include "platform/GlobalHotKey.h"

struct OpaqueEventHotKeyRef;

/// A Carbon hot key: the only interface of the system that reports keys pressed in other
/// applications without a permission.
class MacHotKey final : public GlobalHotKey
{
public:
    void registerKey(std::function<void()> pressed) override;

    [[nodiscard]] QString name() const override;
    /// The system also reports success if another program has registered the key; then both
    /// programs receive the presses.
    [[nodiscard]] bool isOurs() const override { return m_ref != nullptr; }
    /// macOS cannot bind keys to commands. Without the hot key, users open the panel from the Dock.
    [[nodiscard]] QString alternative() override { return {}; }
    [[nodiscard]] bool isAlternativeBound() override { return false; }
    void bindAlternative() override;
    [[nodiscard]] QString command() override { return {}; }

    /// Whether another program has registered the key exclusively. Non-exclusive registrations,
    /// such as ours, cannot be detected.
    [[nodiscard]] static bool isReserved();

private:
    OpaqueEventHotKeyRef *m_ref = nullptr; ///< The registered hot key; never unregistered.
};
