#pragma once

#include <QAbstractListModel>
#include <QList>

#include <utility>

/// A list model over value records that have an identity. It is given whole lists and announces
/// only what differs: rows that came, went, or changed under the same id. A view therefore keeps
/// its place, its selection and its delegates. Main thread.
template <typename Record>
class RecordModel : public QAbstractListModel
{
public:
    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(m_records.size());
    }

    /// Makes the rows those of the list.
    void setRecords(const QList<Record> &records)
    {
        int kept = 0;
        while (kept < m_records.size() && kept < records.size() &&
               m_records[kept].id == records[kept].id) {
            change(kept, records[kept]);
            ++kept;
        }
        if (kept < m_records.size()) {
            beginRemoveRows({}, kept, static_cast<int>(m_records.size()) - 1);
            const QList<Record> gone = m_records.mid(kept);
            m_records.resize(kept);
            endRemoveRows();
            for (const Record &record : gone)
                forget(record);
        }
        if (kept < records.size()) {
            beginInsertRows({}, kept, static_cast<int>(records.size()) - 1);
            m_records += records.mid(kept);
            endInsertRows();
        }
    }

protected:
    [[nodiscard]] const QList<Record> &records() const { return m_records; }

    /// A record was replaced by another of the same id; the views hear of it afterwards.
    virtual void replaced(const Record & /*now*/) {}
    /// A record has left the list.
    virtual void forget(const Record & /*gone*/) {}

private:
    void change(int row, const Record &record)
    {
        if (m_records[row] == record)
            return;
        m_records[row] = record;
        replaced(record);
        Q_EMIT dataChanged(index(row), index(row));
    }

    QList<Record> m_records;
};
