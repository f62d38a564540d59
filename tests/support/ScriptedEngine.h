#pragma once

#include "inference/InferenceEngine.h"

#include <QStringList>

#include <atomic>
#include <coroutine>
#include <deque>
#include <optional>
#include <variant>

/// An engine without a model, for tests: it says what it was told to say, as an engine does, that
/// is later, with the pieces sent from another thread. Whatever it was told to hold waits for the
/// test; release all of it before the test ends. Main thread, but for isLoaded.
class ScriptedEngine final : public InferenceEngine
{
public:
    /// What a generation returns, or fails with.
    using Reply = std::variant<QString, InferenceError>;

    struct Generation
    {
        QList<ChatMessage> conversation;
        int maxTokens = 0;
    };

    /// Adds what the coming generations answer, in turn. One without a script fails with
    /// decodeFailed.
    void addReplies(const QList<Reply> &replies) { m_replies += replies; }
    /// How many UTF-16 units of a reply make a piece; a surrogate pair is never parted.
    void setPieceLength(qsizetype length) { m_pieceLength = length; }
    void holdGenerations() { m_generationGate.hold(); }
    /// Lets one generation go on, the waiting or the next one.
    void releaseGeneration() { m_generationGate.release(); }
    /// Lets the waiting one go on and holds none from now on.
    void stopHoldingGenerations() { m_generationGate.open(); }
    /// A piece from the generation that is running, sent from another thread.
    void sendPiece(const QString &piece) const;
    [[nodiscard]] bool isGenerating() const { return m_generationsRunning > 0; }

    /// What loads from now on fail with; nothing to let them succeed again.
    void setLoadError(std::optional<InferenceError> error) { m_loadError = error; }
    void holdLoads() { m_loadGate.hold(); }
    /// Lets one load go on, the waiting or the next one.
    void releaseLoad() { m_loadGate.release(); }
    void setLoaded(bool loaded) { m_loaded = loaded; }
    /// From now on what is loaded stays until setLoaded(false), as behind a running generation.
    void holdUnloads() { m_holdsUnloads = true; }

    /// The paths of all loads, and what was asked in all generations, since the beginning.
    [[nodiscard]] const QStringList &loads() const { return m_loads; }
    [[nodiscard]] int unloads() const { return m_unloads; }
    [[nodiscard]] const QList<Generation> &generations() const { return m_generations; }

    [[nodiscard]] bool isLoaded() const override { return m_loaded; }
    [[nodiscard]] QCoro::Task<> load(QString modelPath) override;
    void unload() override;
    [[nodiscard]] QCoro::Task<QString> generate(QList<ChatMessage> conversation, int maxTokens,
                                                OnToken onToken) override;

private:
    /// Where a coroutine waits: one turn of the event loop, and while it is held for a release.
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

        /// Small, because gcc 12 copies what is awaited.
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
