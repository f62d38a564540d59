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
    /// The system reports a registration of ours as done also if another program has registered the
    /// key too; then both programs get the presses.
    [[nodiscard]] bool isOurs() const override { return m_ref != nullptr; }
    /// macOS binds no keys to commands. An application without its key is reached by the Dock.
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
