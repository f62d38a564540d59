#pragma once

#include "inference/InferenceEngine.h"

#include <QStringList>

/// A model that makes no mistake: it says the steps of a task one after the other, at the pace of a
/// small model. When an application still starts or is busy, it looks around and tries that step
/// again, as the failure asks it to.
class PlanningEngine final : public InferenceEngine
{
public:
    void plan(const QStringList &steps);

    [[nodiscard]] bool isLoaded() const override { return true; }
    [[nodiscard]] QCoro::Task<> load(QString) override { co_return; }
    void unload() override {}
    [[nodiscard]] QCoro::Task<QString> generate(QList<ChatMessage> conversation, int maxTokens,
                                                OnToken onToken) override;

private:
    [[nodiscard]] QString reply(const QString &told);

    QStringList m_steps;
    qsizetype m_next = 0;
    bool m_looksAround = false;
    int m_retries = 0;
};
