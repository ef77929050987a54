#pragma once

#include "platform/recordset.h"

#include <QAbstractProxyModel>
#include <QIcon>
#include <QTimer>

#include <functional>
#include <vector>

namespace korva {

class RecordSetModel;

// What a grid shows of its record set's rows: the rows whose text holds the quick filter, in
// the order of a clicked heading. Rows are told apart by storage row, as the record set keeps
// them, so what is worked out per row survives the record set's own filter and sort; it is
// worked out again only when another record set is bound or rows are added. A freshly bound
// list is worked out a slice at a time between frames (rows on screen first, as they are
// painted), so 50,000 rows never hold the screen; a filter or a count asked for before then
// finishes the work at once. A long list's first sort by a column is worked out the same way
// and shown once its keys are ready, a few frames later.
//
// The view's rows map to the record set's view rows; with no filter and no sort the mapping
// is the identity and costs nothing.
class GridProxyModel : public QAbstractProxyModel {
    Q_OBJECT
public:
    // What the owner knows of a row without loading it into the grid.
    struct RowInfo {
        QString haystack;     // every text the quick filter may match, in any case
        bool overdue = false; // marked with an icon and bold
        bool fresh = false;   // new since the previous list: marked with an icon
    };
    // Asked once per row of each record set bound (the rows on screen first, the rest between
    // frames or when a filter, sort or count needs them).
    using RowInfoSource = std::function<RowInfo(const RecordSet &, int storageRow)>;
    // The sort text of a display column (one the grid's RowLoaded handlers fill).
    using SortTextSource = std::function<QString(const RecordSet &, int storageRow, int column)>;

    explicit GridProxyModel(RecordSetModel *source, QObject *parent = nullptr);

    void setRowInfoSource(RowInfoSource source);
    void setSortTextSource(SortTextSource source);
    // The column whose cells carry the row's icon.
    void setMarkColumn(int column);

    void setFilterText(const QString &text);
    const QString &filterText() const { return m_filter; }
    // Column -1: the record set's own order.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;
    int sortColumn() const { return m_sortColumn; }
    Qt::SortOrder sortOrder() const { return m_sortOrder; }

    // Source rows are the record set's view rows.
    int sourceRowOf(int proxyRow) const;
    int proxyRowOf(int sourceRow) const; // -1 when filtered out
    int overdueCount() const;            // among the rows shown; finishes the rows' info
    int freshCount() const;              // among the rows shown; finishes the rows' info
    // Whether every row's info is worked out; infoReady() says when it comes to be.
    bool infoComplete() const;
    void ensureInfo(); // works out what is left at once

signals:
    void infoReady();

public:
    bool isOverdue(int proxyRow) const;
    bool isFresh(int proxyRow) const;

    QModelIndex mapToSource(const QModelIndex &proxyIndex) const override;
    QModelIndex mapFromSource(const QModelIndex &sourceIndex) const override;
    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    struct SortKey {
        double number = 0;
        QString text;
        bool null = true;
    };
    const RecordSetModel *sourceModel_() const;
    void sourceReset();
    void rebuild(bool narrowOnly);
    bool prepareInfo(); // true when the arrays were laid out afresh
    const RowInfo &rowInfo(int storageRow) const;
    void fillSlice();
    void ensureKeys(int column);
    // Works out `column`'s keys from where it stopped, for at most `budgetNs` (0: all).
    void fillKeys(int column, qint64 budgetNs);
    bool keysReady(int column) const;
    bool sortPending() const;
    const RowInfo *info(int proxyRow) const;

    RecordSetModel *m_source;
    RowInfoSource m_infoSource;
    SortTextSource m_sortText;
    int m_markColumn = 0;
    QString m_filter; // folded
    int m_sortColumn = -1;
    Qt::SortOrder m_sortOrder = Qt::AscendingOrder;

    // Per storage row, for the record set they were worked out of.
    const RecordSet *m_infoOf = nullptr;
    int m_infoCount = 0;
    mutable std::vector<RowInfo> m_info;
    std::vector<RowInfo> m_doomed; // the previous list's, freed a slice at a time
    mutable std::vector<bool> m_done;
    mutable int m_doneCount = 0;
    int m_fillFrom = 0;
    QTimer m_fill;
    int m_keysColumn = -1;
    int m_keysFilled = 0;
    std::vector<SortKey> m_keys;

    bool m_identity = true;
    std::vector<int> m_rows;    // proxy row -> source row
    std::vector<int> m_inverse; // source row -> proxy row, -1 when hidden
    QIcon m_overdueIcon;
    QIcon m_freshIcon;
};

} // namespace korva
