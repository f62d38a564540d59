#pragma once

#include "agent/Transcript.h"
#include "ui/RecordModel.h"

#include <QHash>
#include <QtQml/qqmlregistration.h>

class LogModel;

/// The turns of the transcript, oldest first. Main thread; owned by the SessionViewModel.
class TurnsModel : public RecordModel<Turn>
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The session's view has the turns.")

public:
    enum Role { Command = Qt::UserRole, Log, HasSummary, Summary };

    using RecordModel::RecordModel;

    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    /// The whole text of a turn, one line each, for the clipboard.
    [[nodiscard]] QString textOf(int row) const;

private:
    void replaced(const Turn &now) override;
    void forget(const Turn &gone) override;
    [[nodiscard]] LogModel *logOf(const Turn &turn) const;

    /// Created on demand: most turns of a long transcript are never visible.
    mutable QHash<QUuid, LogModel *> m_logs;
};
