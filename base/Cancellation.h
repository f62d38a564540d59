#pragma once

#include <QObject>

#include <memory>

/// Tells a running task that the user no longer wants it. The task checks it at the points where it
/// can end cleanly; a pause ends early. Main thread.
class Cancellation final : public QObject
{
    Q_OBJECT

public:
    [[nodiscard]] bool isCancelled() const { return m_cancelled; }

    void cancel()
    {
        if (m_cancelled)
            return;
        m_cancelled = true;
        Q_EMIT cancelled();
    }

Q_SIGNALS:
    void cancelled();

private:
    bool m_cancelled = false;
};

/// What a task checks; null for a task that cannot be cancelled.
using CancellationToken = std::shared_ptr<const Cancellation>;
