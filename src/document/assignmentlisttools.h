#pragma once

#include "platform/recordset.h"

#include <QHash>
#include <QSet>
#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;
class QSettings;

namespace korva {

class DataControl;
class DataGrid;

// The row above the assignment list: a quick filter over the rows already fetched, the
// counts of what is shown, overdue and new, and the export of the rows as shown. It also
// teaches the grid to sort by a heading and to mark overdue and new rows.
class AssignmentListTools : public QWidget {
    Q_OBJECT
public:
    AssignmentListTools(DataGrid *grid, DataControl *control, QWidget *parent = nullptr);

    // The text a display column shows, worked out of the row's fields without loading it.
    QString displayText(const RecordSet &rs, int storageRow, const QString &column) const;

    // The shown rows, filter and sort applied, under the visible columns' captions.
    QList<QStringList> shownRows() const;
    bool exportCsv(const QString &path) const;

    // The grid's column layout and sort, kept between sessions.
    void saveLayout(QSettings &settings) const;
    void restoreLayout(const QSettings &settings);

    QLineEdit *filterBox() const { return m_filter; }
    QLabel *countsLabel() const { return m_counts; }
    QPushButton *exportButton() const { return m_export; }

signals:
    // A list reply's rows were bound: whatever was noticed before is in them now.
    void listShown();

private:
    void listBound();
    void updateCounts();
    void exportClicked();
    QString officerName(const RecordSet &rs, int storageRow, int idField) const;

    DataGrid *m_grid;
    DataControl *m_control;
    QLineEdit *m_filter;
    QLabel *m_counts;
    QPushButton *m_export;
    QDate m_today;
    // The assignment numbers of the previous list: a number not among them is new.
    QSet<qint64> m_previous;
    QSet<qint64> m_listed;
    mutable QHash<QString, QString> m_names; // by officer number, for the list bound
};

} // namespace korva
