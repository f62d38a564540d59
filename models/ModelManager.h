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

/// Owns everything about the local model: the user's choice, its file, its download, and loading it
/// into the one engine. Lives on the main thread as long as the application. No operation throws:
/// every failure ends in the state `failed` with its message.
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

    /// The URL session's default: how long a transfer may bring nothing before it has failed.
    static constexpr std::chrono::seconds stallTimeout{60};

    /// With the llama engine, the user's choice restored and the state read from the disk.
    explicit ModelManager(QObject *parent = nullptr);
    /// The same over another engine and another patience with stalled transfers.
    explicit ModelManager(std::shared_ptr<InferenceEngine> engine,
                          std::chrono::milliseconds patience = stallTimeout,
                          QObject *parent = nullptr);
    ~ModelManager() override;

    [[nodiscard]] const State &state() const { return m_state; }
    [[nodiscard]] const LocalModel &selected() const { return m_selected; }
    [[nodiscard]] const std::shared_ptr<InferenceEngine> &engine() const { return m_engine; }

    /// The folder of all model files, made on the way; a failure to make it shows at the next file
    /// operation.
    [[nodiscard]] static QString directory();

    /// True if the model's file is in that folder, as an ordinary file, a folder or a link to one
    /// of them.
    [[nodiscard]] static bool hasFile(const LocalModel &model);

    /// Sets the state from the disk: `ready` where the selected model's file is there.
    void refresh();

    /// Makes another model the user's choice, cancels a running download, releases the engine, and
    /// loads the model where its file is there. The selected model again: nothing happens.
    void select(const LocalModel &model);

    /// Downloads the selected model and then loads it. While a download runs: nothing happens.
    void download();

    /// Ends the running download, if any, without a word; the state stays for the caller's
    /// refresh().
    void cancelTask();

    /// Loads the selected model where its file is ready and nothing is loaded. Read state()
    /// afterwards.
    [[nodiscard]] QCoro::Task<> loadIfNeeded();

Q_SIGNALS:
    /// Announced before the property changes, and again once it has.
    void stateWillChange();
    void stateChanged();
    void selectedWillChange();
    void selectedChanged();

private:
    void setState(State state);
    void setSelected(const LocalModel &model);
    void startLoading();
    void endDownload(const std::optional<QString> &failure);
    void forgetEndedTasks();

    State m_state;
    LocalModel m_selected;
    const std::shared_ptr<InferenceEngine> m_engine;
    const std::chrono::milliseconds m_patience;
    std::unique_ptr<Download> m_task;                        ///< The running transfer.
    std::vector<std::unique_ptr<Download>> m_cancelledTasks; ///< Their threads tidy up.
    int m_choice = 0; ///< Counts the selections, for loads that end after a newer one.
};
