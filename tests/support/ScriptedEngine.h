#pragma once

#include "inference/InferenceEngine.h"

#include <QStringList>

#include <atomic>
#include <coroutine>
#include <deque>
#include <optional>
#include <variant>

/// An engine without a model, for tests. It replies what it is given, asynchronously and with
/// pieces from another thread like a real engine. What is held waits for the test, which must
/// release everything before it ends. Main thread, except for isLoaded.
class ScriptedEngine final : public InferenceEngine
{
public:
    /// The outcome of a generation.
    using Reply = std::variant<QString, InferenceError>;

    struct Generation
    {
        QList<ChatMessage> conversation;
        int maxTokens = 0;
    };

    /// Adds outcomes of the next generations, in order. Without any, generations fail with
    /// decodeFailed.
    void addReplies(const QList<Reply> &replies) { m_replies += replies; }
    /// The length of a piece in UTF-16 units; surrogate pairs are not split.
    void setPieceLength(qsizetype length) { m_pieceLength = length; }
    void holdGenerations() { m_generationGate.hold(); }
    /// Lets one generation continue: the waiting one or the next.
    void releaseGeneration() { m_generationGate.release(); }
    /// Lets the waiting one continue and holds no further ones.
    void stopHoldingGenerations() { m_generationGate.open(); }
    /// Sends a piece of the running generation from another thread.
    void sendPiece(const QString &piece) const;
    [[nodiscard]] bool isGenerating() const { return m_generationsRunning > 0; }

    /// The error of all loads from now on; nothing lets them succeed again.
    void setLoadError(const std::optional<InferenceError> &error) { m_loadError = error; }
    void holdLoads() { m_loadGate.hold(); }
    /// Lets one load continue: the waiting one or the next.
    void releaseLoad() { m_loadGate.release(); }
    void setLoaded(bool loaded) { m_loaded = loaded; }
    /// From now on, unload() has no effect until setLoaded(false), as during a generation.
    void holdUnloads() { m_holdsUnloads = true; }

    /// The paths of all loads and the arguments of all generations so far.
    [[nodiscard]] const QStringList &loads() const { return m_loads; }
    [[nodiscard]] int unloads() const { return m_unloads; }
    [[nodiscard]] const QList<Generation> &generations() const { return m_generations; }

    [[nodiscard]] bool isLoaded() const override { return m_loaded; }
    [[nodiscard]] QCoro::Task<> load(QString modelPath) override;
    void unload() override;
    [[nodiscard]] QCoro::Task<QString> generate(QList<ChatMessage> conversation, int maxTokens,
                                                OnToken onToken) override;

private:
    /// Suspends a coroutine for one pass of the event loop and, if it is held, until its release.
    class Gate
    {
    public:
        void hold() { m_held = true; }
        void release();
        void open()
        {
            m_held = false;
            release();
            m_permits = 0;
        }

        /// Copyable, because gcc 12 copies awaiters.
        struct Pass
        {
            Gate &gate;
            [[nodiscard]] bool await_ready() const noexcept { return false; }
            void await_suspend(std::coroutine_handle<> waiting) const { gate.enter(waiting); }
            void await_resume() const noexcept {}
        };
        [[nodiscard]] Pass pass() { return {*this}; }

    private:
        void enter(std::coroutine_handle<> waiting);

        bool m_held = false;
        int m_permits = 0;
        std::deque<std::coroutine_handle<>> m_waiting;
    };

    QList<Reply> m_replies;
    QList<Generation> m_generations;
    int m_generationsRunning = 0;
    qsizetype m_pieceLength = 8;
    OnToken m_onToken;
    Gate m_generationGate;
    Gate m_turnOfTheLoop;

    QStringList m_loads;
    int m_unloads = 0;
    bool m_holdsUnloads = false;
    std::optional<InferenceError> m_loadError;
    Gate m_loadGate;
    std::atomic<bool> m_loaded = false;
};
