#pragma once

#include "inference/InferenceEngine.h"

#include <QStringList>

/// A perfect model: it replies with the steps of a task one after the other, at the speed of a
/// small model. If an application is still starting or busy, it lists the windows and tries the
/// step again, as the failure suggests.
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
