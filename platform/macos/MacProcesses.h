#pragma once

#include "platform/OwnProcesses.h"

/// The process table, read with libproc. Any thread.
class MacProcesses final : public ProcessList
{
public:
    [[nodiscard]] QList<ProcessId> all() const override;
    [[nodiscard]] QString program(ProcessId process) const override;
    [[nodiscard]] std::optional<ProcessRecord> record(ProcessId process) const override;
};
