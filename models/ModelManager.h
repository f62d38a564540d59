#pragma once

#include "inference/InferenceEngine.h"
#include "models/LocalModel.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QString>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

class Download;
class TransferError;

/// Manages the local model: the user's choice, its file, its download, and loading it into the
/// engine. Lives on the main thread as long as the application. No operation throws: each failure
/// sets the state `failed` with its message.
class ModelManager : public QObject
{
    Q_OBJECT

public:
    /// What the manager is doing for the selected model.
    struct State
    {
        enum class Case { needsDownload, downloading, ready, loading, loaded, failed };

        Case kind = Case::needsDownload;
        double progress = 0; ///< 0 to 1, while downloading.
        QString message;     ///< One sentence for the user, after a failure.

        static State needsDownload() { return {Case::needsDownload, 0, {}}; }
        static State downloading(double progress) { return {Case::downloading, progress, {}}; }
        static State ready() { return {Case::ready, 0, {}}; }
        static State loading() { return {Case::loading, 0, {}}; }
        static State loaded() { return {Case::loaded, 0, {}}; }
        static State failed(QString message) { return {Case::failed, 0, std::move(message)}; }

        bool operator==(const State &) const = default;
    };

    /// How long a transfer may receive nothing before it fails: the default of macOS's
    /// NSURLSession.
    static constexpr std::chrono::seconds stallTimeout{60};

    /// Uses a LlamaEngine, restores the user's choice and reads the state from the disk.
    explicit ModelManager(QObject *parent = nullptr);
    /// The same with another engine and another timeout for stalled transfers.
    explicit ModelManager(std::shared_ptr<InferenceEngine> engine,
                          std::chrono::milliseconds timeout = stallTimeout,
                          QObject *parent = nullptr);
    ~ModelManager() override;

    [[nodiscard]] const State &state() const { return m_state; }
    [[nodiscard]] const LocalModel &selected() const { return m_selected; }
    [[nodiscard]] const std::shared_ptr<InferenceEngine> &engine() const { return m_engine; }

    /// The folder of all model files. Creates it if necessary; if that fails, so does the next
    /// operation on a file there.
    [[nodiscard]] static QString directory();

    /// Whether the model's file is in that folder: a regular file, a folder, or a link to one of
    /// them.
    [[nodiscard]] static bool hasFile(const LocalModel &model);

    /// Sets the state from the disk: `ready` if the selected model's file is there.
    void refresh();

    /// Makes another model the user's choice, cancels a running download, unloads the engine, and
    /// loads the model if its file is there. Does nothing if the model is selected already.
    void select(const LocalModel &model);

    /// Uses the model that comes along until another one is selected, and leaves the user's choice
    /// what it is: the next start uses that again. Loads nothing yet. False if no such model came
    /// along; nothing happens then.
    [[nodiscard]] bool useSmallModel();

    /// Downloads the selected model and then loads it. Does nothing while a download is running.
    void download();

    /// Cancels the running download, if any. Does not change the state; call refresh() for that.
    void cancelTask();

    /// Loads the selected model if its file is ready and no model is loaded. state() then tells the
    /// result.
    [[nodiscard]] QCoro::Task<> loadIfNeeded();

Q_SIGNALS:
    /// The property has a signal before it changes and one afterwards.
    void stateWillChange();
    void stateChanged();
    void selectedWillChange();
    void selectedChanged();

private:
    void setState(State state);
    void setSelected(const LocalModel &model);
    /// Makes another model the selected one and releases the one before.
    void change(const LocalModel &model);
    void startLoading();
    void finishDownload();
    void failDownload(const TransferError &error);
    void forgetEndedTasks();

    State m_state;
    LocalModel m_selected;
    const std::shared_ptr<InferenceEngine> m_engine;
    const std::chrono::milliseconds m_timeout;
    std::unique_ptr<Download> m_task;                        ///< The running transfer.
    std::vector<std::unique_ptr<Download>> m_cancelledTasks; ///< Until their threads have finished.
    int m_choice = 0; ///< Number of selections; tells whether a load's model is still selected.
};
