#pragma once

#include "platform/GlobalHotKey.h"

struct OpaqueEventHotKeyRef;

/// The hot key of Carbon, the only one of the system's interfaces that needs no permission to see a
/// key while another application is in front.
class MacHotKey final : public GlobalHotKey
{
public:
    void registerKey(std::function<void()> pressed) override;

    /// Whether the system has given us the registered key.
    [[nodiscard]] bool isOurs() const { return m_ref != nullptr; }

private:
    OpaqueEventHotKeyRef *m_ref = nullptr; ///< The registered hot key, kept for life.
};
