#pragma once

/// Model files are mapped into memory and read on demand. If a file is truncated meanwhile, for
/// example by copying another one over it, the next access to a missing page would end the process
/// with SIGBUS. While a guard exists, such a read gives zeros instead, on any thread except the
/// main one, and the guard reports that the result is invalid.
class MappedFileGuard
{
public:
    MappedFileGuard();
    ~MappedFileGuard();
    MappedFileGuard(const MappedFileGuard &) = delete;
    MappedFileGuard &operator=(const MappedFileGuard &) = delete;

    /// Whether a page was missing since the guard was created.
    [[nodiscard]] bool hasMissed() const;

private:
    const unsigned m_missedBefore;
};
