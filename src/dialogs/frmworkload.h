#pragma once

#include <QDialog>
#include <QString>

class QLabel;
class QPushButton;
class QSortFilterProxyModel;
class QStandardItemModel;
class QTableView;

namespace korva {

class BrokerMessage;

// The workload overview for a supervisor: per officer, the assignments open, overdue, due
// this week and closed this month, as the server counts them (one request, no rows fetched).
// Modeless, so that it stays beside the list; Refresh asks again.
class frmWorkload : public QDialog {
    Q_OBJECT
public:
    explicit frmWorkload(QWidget *parent = nullptr);

    void Refresh();
    void mZelbMessage_DataReady(const QString &identity);

    // The grid's columns, in order.
    enum Column { Officer, Open, Overdue, DueThisWeek, ClosedThisMonth, ColumnCount };

public:
    QLabel *lblStatus = nullptr;
    QTableView *tblWorkload = nullptr;
    QStandardItemModel *model = nullptr;
    QSortFilterProxyModel *sorted = nullptr;
    QPushButton *cmdRefresh = nullptr;
    QPushButton *cmdClose = nullptr;
    BrokerMessage *mZelbMessage = nullptr;

private:
    void fill(const class RecordSet &rows);

    QString m_messageId;
};

} // namespace korva
