#pragma once

/// The model's weights are read from its file as they are needed: the file is mapped into memory.
/// If it is cut short meanwhile, as a copy over it does, the next read of what is gone would end
/// the process with SIGBUS. While a guard lives, such a read gives zeros instead, on any thread but
/// the main one, and the guard tells that the result is worth nothing.
class MappedFileGuard
{
public:
    MappedFileGuard();
    ~MappedFileGuard();
    MappedFileGuard(const MappedFileGuard &) = delete;
    MappedFileGuard &operator=(const MappedFileGuard &) = delete;

    /// Whether anything was missing since the guard was made.
    [[nodiscard]] bool hasMissed() const;

private:
    const unsigned m_missedBefore;
};
