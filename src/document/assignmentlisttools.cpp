#include "assignmentlisttools.h"

#include "common/modassignmaint.h"
#include "platform/controls/csvtext.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/gridproxy.h"
#include "platform/platform.h"

#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSaveFile>
#include <QSettings>

namespace korva {

namespace {

QString field(const RecordSet &rs, int storageRow, QStringView name)
{
    const int f = rs.fieldIndex(name);
    if (f < 0)
        return {};
    return RecordSet::formatValue(rs.storageRow(storageRow).value(f), rs.fields().at(f).type);
}

qint64 numberOf(const RecordSet &rs, int storageRow)
{
    bool ok = false;
    const qint64 n = field(rs, storageRow, u"ASGNMT_NBR").trimmed().toLongLong(&ok);
    return ok ? n : -1;
}

} // namespace

AssignmentListTools::AssignmentListTools(DataGrid *grid, DataControl *control, QWidget *parent)
    : QWidget(parent)
    , m_grid(grid)
    , m_control(control)
    , m_today(platform().clock ? platform().clock->today() : QDate::currentDate())
{
    setObjectName(QStringLiteral("listTools"));
    auto *label = new QLabel(tr("F&ilter:"), this);
    m_filter = new QLineEdit(this);
    m_filter->setObjectName(QStringLiteral("txtListFilter"));
    m_filter->setClearButtonEnabled(true);
    m_filter->setPlaceholderText(
        tr("Number, subject, comment, customer, officer or reference number"));
    m_filter->setAccessibleName(tr("Filter the list"));
    label->setBuddy(m_filter);
    m_counts = new QLabel(this);
    m_counts->setObjectName(QStringLiteral("lblListCounts"));
    m_counts->setAccessibleName(tr("List counts"));
    m_counts->setTextInteractionFlags(Qt::TextSelectableByKeyboard);
    m_export = new QPushButton(tr("E&xport..."), this);
    m_export->setObjectName(QStringLiteral("cmdListExport"));
    m_export->setToolTip(tr("Save the rows as shown to a CSV file"));
    m_print = new QPushButton(tr("Prin&t List..."), this);
    m_print->setObjectName(QStringLiteral("cmdListPrint"));
    m_print->setToolTip(tr("Print the rows as shown"));

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(label);
    layout->addWidget(m_filter, 1);
    layout->addWidget(m_counts);
    layout->addWidget(m_export);
    layout->addWidget(m_print);

    GridProxyModel *shown = grid->shownModel();
    shown->setMarkColumn(0);
    shown->setRowInfoSource([this](const RecordSet &rs, int s) {
        GridProxyModel::RowInfo info;
        const qint64 number = numberOf(rs, s);
        QStringList parts{field(rs, s, u"ASGNMT_NBR"),
                          field(rs, s, u"ASGNMT_SBJCT_TXT"),
                          field(rs, s, u"ASGNMT_CMMT_TXT"),
                          field(rs, s, u"CUST_ID"),
                          field(rs, s, u"CUST_NM"),
                          displayText(rs, s, QStringLiteral("ASSIGNED_FROM")),
                          displayText(rs, s, QStringLiteral("ASSIGNED_TO")),
                          field(rs, s, u"FORM_NBR")};
        info.haystack = parts.join(u'\n');
        info.overdue = isOverdue(rs, s, m_today);
        info.fresh = !m_seen.isEmpty() && number >= 0 && !m_seen.contains(number);
        return info;
    });
    shown->setSortTextSource([grid](const RecordSet &rs, int s, int column) {
        return displayText(rs, s, grid->columnName(column));
    });
    grid->setHeadingSort(true);

    connect(control, &DataControl::recordSetChanged, this, &AssignmentListTools::listBound);
    connect(shown, &QAbstractItemModel::modelReset, this, &AssignmentListTools::updateCounts);
    connect(m_filter, &QLineEdit::textChanged, grid, &DataGrid::setFilterText);
    connect(m_export, &QPushButton::clicked, this, &AssignmentListTools::exportClicked);
    connect(m_print, &QPushButton::clicked, this, &AssignmentListTools::printRequested);
    updateCounts();
}

QString AssignmentListTools::displayText(const RecordSet &rs, int storageRow, const QString &column)
{
    // As the rows show them once loaded.
    if (column == u"ASSIGNED_FROM")
        return modAssignMaint::OfficerDisplayName(field(rs, storageRow, u"OFCR_FRM_ID"));
    if (column == u"ASSIGNED_TO")
        return modAssignMaint::OfficerDisplayName(field(rs, storageRow, u"OFCR_TO_ID"));
    if (column == u"CITATION_NUMBER")
        return field(rs, storageRow, u"FORM_NBR");
    if (column == u"Status") {
        const QString code = field(rs, storageRow, u"ASGNMT_STTS_CD");
        return code == u"O"   ? QStringLiteral("Open")
               : code == u"C" ? QStringLiteral("Closed")
               : code == u"F" ? QStringLiteral("Forward")
               : code == u"R" ? QStringLiteral("Reply")
                              : code;
    }
    if (!platform().lookups)
        return {};
    if (column == u"ASSIGNMENT_TYPE") {
        const QString type = field(rs, storageRow, u"ASGNMT_TYP_CD").trimmed();
        return type.isEmpty() || type == u"DEF"
                   ? QString()
                   : platform().lookups->assignmentTypeDescription(type);
    }
    if (column == u"CITATION_TYPE")
        return platform().lookups->codeDescription(QStringLiteral("REFDOCTYP"),
                                                   field(rs, storageRow, u"FORM_TYP_CD"));
    return {};
}

bool AssignmentListTools::isOverdue(const RecordSet &rs, int storageRow, const QDate &today)
{
    const int due = rs.fieldIndex(u"DUE_DT");
    if (due < 0 || field(rs, storageRow, u"ASGNMT_STTS_CD").trimmed() == u"C" ||
        !field(rs, storageRow, u"CLSE_DT").trimmed().isEmpty())
        return false;
    const QVariant value = rs.storageRow(storageRow).value(due);
    const QDate date = value.typeId() == QMetaType::QDate
                           ? value.toDate()
                           : QDate::fromString(value.toString().trimmed().left(10), Qt::ISODate);
    return date.isValid() && date < today;
}

void AssignmentListTools::listBound()
{
    m_today = platform().clock ? platform().clock->today() : QDate::currentDate();
    // What counts as new is measured against the list before this one.
    m_grid->shownModel()->overdueCount();
    m_seen = m_listed;
    m_listed.clear();
    if (const RecordSetPtr &rs = m_control->recordSet()) {
        for (int s = 0; s < rs->storageCount(); ++s)
            m_listed.insert(numberOf(*rs, s));
    }
    m_seen.unite(m_listed);
    updateCounts();
}

void AssignmentListTools::updateCounts()
{
    const GridProxyModel *shown = m_grid->shownModel();
    if (!m_control->recordSet()) {
        m_counts->clear();
        return;
    }
    QString text =
        m_filter->text().trimmed().isEmpty()
            ? (m_grid->rowCount() == 1 ? tr("1 row") : tr("%1 rows").arg(m_grid->rowCount()))
            : tr("%1 of %2 shown").arg(shown->rowCount()).arg(m_grid->rowCount());
    if (const int overdue = shown->overdueCount())
        text += tr(", %1 overdue").arg(overdue);
    if (const int fresh = shown->freshCount())
        text += tr(", %1 new").arg(fresh);
    m_counts->setText(text);
}

QList<QStringList> AssignmentListTools::shownRows() const
{
    const QHeaderView *header = m_grid->horizontalHeader();
    QList<int> columns;
    for (int visual = 0; visual < header->count(); ++visual) {
        const int c = header->logicalIndex(visual);
        if (!m_grid->isColumnHidden(c))
            columns.append(c);
    }
    QList<QStringList> rows;
    QStringList captions;
    for (int c : columns)
        captions.append(m_grid->model()->headerData(c, Qt::Horizontal).toString());
    rows.append(captions);
    for (int position = 0; position < m_grid->shownRowCount(); ++position) {
        const int row = m_grid->shownRow(position);
        QStringList cells;
        for (int c : columns)
            cells.append(m_grid->text(row, m_grid->columnName(c)));
        rows.append(cells);
    }
    return rows;
}

bool AssignmentListTools::exportCsv(const QString &path) const
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(csvText(shownRows()));
    return file.commit();
}

void AssignmentListTools::exportClicked()
{
    const QString path = QFileDialog::getSaveFileName(
        this, tr("Export the List"), QStringLiteral("assignments.csv"), tr("CSV files (*.csv)"));
    if (!path.isEmpty() && !exportCsv(path) && platform().messages)
        platform().messages->msgBox(tr("The list could not be saved to %1.").arg(path),
                                    MsgStyle::Critical, modMessageTitle::MessageTitle());
}

void AssignmentListTools::saveLayout(QSettings &settings) const
{
    settings.setValue(QStringLiteral("list/columns"), m_grid->horizontalHeader()->saveState());
}

void AssignmentListTools::restoreLayout(const QSettings &settings)
{
    const QByteArray state = settings.value(QStringLiteral("list/columns")).toByteArray();
    if (state.isEmpty())
        return;
    QHeaderView *header = m_grid->horizontalHeader();
    QList<bool> hidden;
    for (int c = 0; c < header->count(); ++c)
        hidden.append(header->isSectionHidden(c));
    if (!header->restoreState(state))
        return;
    // Which columns are shown is the screen's to say, not the settings'.
    for (int c = 0; c < header->count() && c < hidden.size(); ++c)
        header->setSectionHidden(c, hidden.at(c));
    if (header->isSortIndicatorShown())
        m_grid->shownModel()->sort(header->sortIndicatorSection(), header->sortIndicatorOrder());
}

} // namespace korva
