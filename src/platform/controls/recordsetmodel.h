#pragma once

#include "platform/recordset.h"

#include <QAbstractTableModel>
#include <QStringList>

#include <unordered_map>
#include <vector>

namespace korva {

class DataGrid;

// The rows of a DataGrid: the bound record set's view crossed with the grid's columns.
// Bound columns read the record set's text of their field; display columns read what the
// grid's RowLoaded handlers wrote. What handlers write is kept per storage row, so it
// survives a new filter or sort; it is dropped when the grid is bound again or rows are
// removed from the record set (storage rows then shift).
class RecordSetModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit RecordSetModel(DataGrid *grid);
    ~RecordSetModel() override;

    // Binds a record set (or none); every row is to be loaded again.
    void bind(RecordSetPtr rs);
    const RecordSetPtr &recordSet() const { return m_rs; }
    // The grid's columns changed: the view is told, loaded rows are kept.
    void columnsChanged();
    // Style sets changed: the view repaints, nothing is loaded again.
    void stylesChanged();

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    // Per storage row; none of these loads the row.
    bool isLoaded(int storageRow) const;
    int loadedRowCount() const { return m_loadedCount; }
    // Marks the row loaded and opens its load (RowLoaded runs in between); false when the
    // row was loaded before. Writes during a load need no repaint of their own.
    bool beginLoad(int storageRow);
    void endLoad();
    QString cellText(int storageRow, int column) const; // what the cell shows
    void setCellText(int storageRow, int column, const QString &text);
    QString cellStyle(int storageRow, int column) const; // the cell's own style set
    void setCellStyle(int storageRow, int column, const QString &styleSet);
    int viewRowOf(int storageRow) const; // -1 when the view does not show it
    int fieldIndexOf(int column) const;  // the record set's field of a bound column, else -1

private:
    struct RowState {
        bool loaded = false;
        QStringList texts;  // by column; a null text leaves a bound column's field showing
        QStringList styles; // by column
    };
    void viewChanged();
    void detach();
    RowState *state(int storageRow);
    const RowState *state(int storageRow) const;
    int fieldOf(int column) const;
    void cellChanged(int storageRow, int column);
    QVariant styleData(int storageRow, int column, int role) const;

    DataGrid *m_grid;
    RecordSetPtr m_rs;
    int m_observer = 0;
    int m_storageCount = 0;
    // Only rows that were shown have a state: a 50,000-row list shows a few dozen of them.
    std::unordered_map<int, RowState> m_rows;
    int m_loadedCount = 0;
    int m_loadingRow = -1;
    QList<int> m_fieldIndex; // by column; -1 for display columns
};

} // namespace korva
