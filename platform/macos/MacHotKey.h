#pragma once

#include "platform/GlobalHotKey.h"

struct OpaqueEventHotKeyRef;

/// A Carbon hot key: the only interface of the system that reports keys pressed in other
/// applications without a permission.
class MacHotKey final : public GlobalHotKey
{
public:
    void registerKey(std::function<void()> pressed) override;

    /// Whether another program has registered the key exclusively. Non-exclusive registrations,
    /// such as ours, cannot be detected.
    [[nodiscard]] static bool isReserved();

private:
    OpaqueEventHotKeyRef *m_ref = nullptr; ///< The registered hot key; never unregistered.
};
