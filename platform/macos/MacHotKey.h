#pragma once

#include "platform/GlobalHotKey.h"

struct OpaqueEventHotKeyRef;

/// The hot key of Carbon, the only one of the system's interfaces that needs no permission to see a
/// key while another application is in front.
class MacHotKey final : public GlobalHotKey
{
public:
    void registerKey(std::function<void()> pressed) override;

    /// Whether another program has kept the key for itself alone. The system does not tell of those
    /// that only listen to it, as we do.
    [[nodiscard]] static bool isReserved();

private:
    OpaqueEventHotKeyRef *m_ref = nullptr; ///< The registered hot key, kept for life.
};
