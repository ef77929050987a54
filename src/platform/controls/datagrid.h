#pragma once

#include "platform/recordset.h"

#include <QColor>
#include <QFont>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QTableView>

namespace korva {

class GridProxyModel;
class RecordSetModel;

// The data control a grid is bound through (adoAssignment, adoOfficers): holds the record set.
class DataControl : public QObject {
    Q_OBJECT
public:
    explicit DataControl(QObject *parent = nullptr);
    void setRecordSet(RecordSetPtr rs);
    const RecordSetPtr &recordSet() const { return m_rs; }

signals:
    // Before the record set is replaced, while the old one is still bound.
    void recordSetAboutToChange();
    void recordSetChanged();

private:
    RecordSetPtr m_rs;
};

// A named style set of a grid: fore and back colour, font.
struct StyleSet {
    QColor foreColor; // invalid: the grid's
    QColor backColor;
    QFont font;
    bool hasFont = false;
    // Colours as the screens write them: a BGR whole number (255 is red).
    void setForeColorValue(int bgr);
    void setBackColorValue(int bgr);
    // Sets only the weight; the other font attributes stay the grid's.
    void setBold(bool bold);
};

// One row being loaded by the grid, for RowLoaded handlers: read any column (bound or
// display) and write display columns and cell styles.
class GridRow {
public:
    GridRow(class DataGrid *grid, int storageRow);
    bool isEmpty() const; // the record set has no such row
    QString text(const QString &column) const;
    void setText(const QString &column, const QString &value); // display columns
    void setCellStyleSet(int column, const QString &styleSet);
    int columnCount() const;
    int storageRow() const { return m_storageRow; }

private:
    class DataGrid *m_grid;
    int m_storageRow;
};

// The data-bound grid: columns bound to record-set fields or unbound display columns filled
// by RowLoaded, raised once per row and only for rows that are shown. Style sets, per-column
// cell and heading style sets, a caption, redraw off/on, the current row, and the hit test
// of the last mouse release.
class DataGrid : public QTableView {
    Q_OBJECT
public:
    // Hit-test codes of the last mouse release: a column heading, a data cell (7), a row's
    // record selector (5), or anything else (the caption, the empty area below the rows).
    enum HitTest { HitNone = 0, HitHeading = 1, HitData = 7, HitDataSelected = 5 };

    explicit DataGrid(QWidget *parent = nullptr);
    ~DataGrid() override;

    void setDataControl(DataControl *control);
    DataControl *dataControl() const { return m_control; }

    // Columns. `field` empty: a display column filled by RowLoaded. Returns the index.
    int addColumn(const QString &name, const QString &caption, const QString &field = QString(),
                  bool visible = true);
    int columnCount() const;
    int columnIndex(const QString &name) const; // -1 when absent
    QString columnName(int column) const;
    void setColumnVisible(const QString &name, bool visible);

    StyleSet &styleSet(const QString &name); // created on first use
    bool hasStyleSet(const QString &name) const;
    void setColumnStyleSet(int column, const QString &name);
    QString columnStyleSet(int column) const;
    void setColumnHeadStyleSet(int column, const QString &name);
    QString columnHeadStyleSet(int column) const;
    QString cellStyleSet(int viewRow, int column) const; // the cell's own, else its column's

    void setCaption(const QString &caption);
    QString caption() const { return m_caption; }

    void setRedraw(bool on);
    bool redraw() const { return m_redraw; }

    // Rows are the record set's view rows, whatever the quick filter and the heading sort
    // show of them and in which order.
    int rowCount() const;
    int currentRow() const; // view row, -1 when none
    void setCurrentRow(int viewRow);
    int shownRowCount() const;        // after the quick filter
    int shownRow(int position) const; // the view row shown at a position, -1 when none
    QString text(int viewRow, const QString &column) const; // bound or display, loading the row
    QString currentText(const QString &column) const;       // of the current row; "" when none

    int lastHitTest() const { return m_lastHit; }
    RecordSetModel *recordModel() const { return m_model; }
    GridProxyModel *shownModel() const { return m_proxy; }

    // A heading click sorts by its column: ascending, descending, then the record set's own
    // order again. Off until a screen turns it on.
    void setHeadingSort(bool on);
    void setFilterText(const QString &text);

    // Type-ahead is off: it would decorate every row it passes over.
    void keyboardSearch(const QString &) override {}

signals:
    void RowLoaded(korva::GridRow &row);
    void Click();
    void DblClick();
    // The current row changed, by mouse or keyboard, or was lost when the rows were bound
    // again (currentRow() is then -1).
    void RowChange();

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    friend class GridRow;
    friend class RecordSetModel;
    struct Column {
        QString name;
        QString caption;
        QString field;
        QString styleSet;
        QString headStyleSet;
        bool visible = true;
    };
    void loadRow(int storageRow) const; // raises RowLoaded once
    void rebind();
    void saveLayout();    // before the model resets: widths and the current row
    void restoreLayout(); // after it: widths, hidden columns, the current row again
    void updateRowHeight();
    const StyleSet *findStyleSet(const QString &name) const;

    QPointer<DataControl> m_control;
    RecordSetModel *m_model = nullptr;
    GridProxyModel *m_proxy = nullptr;
    QList<Column> m_columns;
    QHash<QString, StyleSet> m_styleSets;
    QString m_caption;
    bool m_redraw = true;
    int m_lastHit = HitNone;
    class GridHeader *m_header = nullptr;
    QList<int> m_savedWidths;
    QList<int> m_savedOrder; // logical column by visual position
    bool m_headingSort = false;
    int m_savedStorageRow = -1; // the current row's storage row
    bool m_inReset = false;
};

} // namespace korva
