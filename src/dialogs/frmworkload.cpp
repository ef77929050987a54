#include "frmworkload.h"

#include "common/conventions.h"
#include "common/modassignmaint.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QTableView>
#include <QVBoxLayout>

namespace korva {

namespace {

constexpr auto kIdentity = "KORVA_AssignMaint.frmWorkload";

// Reply fields of the counts, in the grid's column order after the officer.
constexpr const char *kCountFields[] = {"OPEN_CNT", "OVERDUE_CNT", "DUE_WEEK_CNT",
                                        "CLSD_MONTH_CNT"};

} // namespace

frmWorkload::frmWorkload(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("frmWorkload"));
    setWindowTitle(QStringLiteral("Workload"));
    setAttribute(Qt::WA_DeleteOnClose);

    model = new QStandardItemModel(0, ColumnCount, this);
    model->setHorizontalHeaderLabels({QStringLiteral("Officer"), QStringLiteral("Open"),
                                      QStringLiteral("Overdue"), QStringLiteral("Due This Week"),
                                      QStringLiteral("Closed This Month")});
    // Counts are held as numbers, so a click on a heading sorts 9 before 10.
    sorted = new QSortFilterProxyModel(this);
    sorted->setSourceModel(model);
    sorted->setSortCaseSensitivity(Qt::CaseInsensitive);

    tblWorkload = new QTableView(this);
    tblWorkload->setObjectName(QStringLiteral("tblWorkload"));
    tblWorkload->setAccessibleName(QStringLiteral("Workload per officer"));
    tblWorkload->setModel(sorted);
    tblWorkload->setSortingEnabled(true);
    tblWorkload->sortByColumn(Officer, Qt::AscendingOrder);
    tblWorkload->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tblWorkload->setSelectionBehavior(QAbstractItemView::SelectRows);
    tblWorkload->verticalHeader()->hide();
    tblWorkload->setWordWrap(false);
    // The counts as wide as their headings; the names take the rest.
    tblWorkload->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    tblWorkload->horizontalHeader()->setSectionResizeMode(Officer, QHeaderView::Stretch);

    lblStatus = new QLabel(this);
    lblStatus->setObjectName(QStringLiteral("lblStatus"));
    lblStatus->setWordWrap(true);
    cmdRefresh = new QPushButton(QStringLiteral("&Refresh"), this);
    cmdRefresh->setObjectName(QStringLiteral("cmdRefresh"));
    cmdClose = new QPushButton(QStringLiteral("Close"), this);
    cmdClose->setObjectName(QStringLiteral("cmdClose"));
    connect(cmdRefresh, &QPushButton::clicked, this, &frmWorkload::Refresh);
    connect(cmdClose, &QPushButton::clicked, this, &QDialog::close);

    mZelbMessage = new BrokerMessage(this);
    connect(mZelbMessage, &BrokerMessage::DataReady, this, &frmWorkload::mZelbMessage_DataReady);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(lblStatus, 1);
    buttons->addWidget(cmdRefresh);
    buttons->addWidget(cmdClose);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tblWorkload, 1);
    layout->addLayout(buttons);
    resize(620, 420);
}

void frmWorkload::Refresh()
{
    guard(u"frmWorkload.Refresh", [&] {
        cmdRefresh->setEnabled(false);
        lblStatus->setText(QStringLiteral("Counting ..."));
        m_messageId = mZelbMessage->send(
            composeQuery(QLatin1String(kIdentity), RequestKind::Workload, {}));
    });
}

void frmWorkload::mZelbMessage_DataReady(const QString &identity)
{
    guard(u"frmWorkload.mZelbMessage_DataReady", [&] {
        if (normalisedIdentity(identity) != normalisedIdentity(QString::fromLatin1(kIdentity)))
            raiseQuiet();
        cmdRefresh->setEnabled(true);
        const BrokerReply *reply = mZelbMessage->replyByTag(m_messageId);
        if (!reply)
            reply = mZelbMessage->reply(identity);
        if (!reply)
            return;
        const BrokerReply answer = *reply;
        mZelbMessage->release(identity);
        const RecordSetPtr rows = answer.recordSet(QStringLiteral("WORKLOAD"));
        if (!answer.error.isEmpty() || !rows) {
            // The overview is a convenience beside the list: a refusal is read here, not in a
            // box that stops the officer's work.
            lblStatus->setText(answer.error.isEmpty()
                                   ? QStringLiteral("The server's answer holds no workload.")
                                   : answer.error);
            return;
        }
        fill(*rows);
    });
}

void frmWorkload::fill(const RecordSet &rows)
{
    model->removeRows(0, model->rowCount());
    const int officerField = rows.fieldIndex(QStringLiteral("OFCR_ID"));
    QList<int> countFields;
    for (const char *name : kCountFields)
        countFields.append(rows.fieldIndex(QString::fromLatin1(name)));
    qint64 overdue = 0;
    for (int r = 0; r < rows.storageCount(); ++r) {
        const QList<QVariant> &values = rows.storageRow(r);
        const QString id = values.value(officerField).toString();
        QString name = modAssignMaint::OfficerDisplayName(id);
        name = name.isEmpty() ? id : QStringLiteral("%1 (%2)").arg(name, id);
        QList<QStandardItem *> items{new QStandardItem(name)};
        for (int f : countFields) {
            auto *item = new QStandardItem;
            item->setData(values.value(f).toLongLong(), Qt::DisplayRole);
            item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            items.append(item);
        }
        overdue += values.value(countFields.at(1)).toLongLong();
        model->appendRow(items);
    }
    sorted->sort(tblWorkload->horizontalHeader()->sortIndicatorSection(),
                 tblWorkload->horizontalHeader()->sortIndicatorOrder());
    lblStatus->setText(QStringLiteral("%1 officers, %2 assignments overdue")
                           .arg(model->rowCount())
                           .arg(overdue));
}

} // namespace korva
