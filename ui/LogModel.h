#pragma once

#include "agent/Transcript.h"
#include "ui/RecordModel.h"

#include <QtQml/qqmlregistration.h>

/// The lines of one turn with their styles. Main thread; owned by the TurnsModel.
class LogModel : public RecordModel<LogEntry>
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("A turn has its log.")

public:
    enum Role { Text = Qt::UserRole, Running, Symbol, SymbolColor, TextColor, Spoken };

    using RecordModel::RecordModel;

    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;
};
