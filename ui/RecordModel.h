#pragma once

#include <QAbstractListModel>
#include <QList>

#include <utility>

/// A list model of value records with ids. It receives whole lists and only announces differences:
/// rows that were inserted, removed, or changed with the same id. A view therefore keeps its scroll
/// position, its selection and its delegates. Main thread.
template <typename Record>
class RecordModel : public QAbstractListModel
{
public:
    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(m_records.size());
    }

    /// Sets the rows to those of the list.
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

    /// Called when a record was replaced by one with the same id, before the views are notified.
    virtual void replaced(const Record & /*now*/) {}
    /// Called when a record was removed.
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
