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

QString fieldAt(const RecordSet &rs, int storageRow, int f)
{
    if (f < 0)
        return {};
    return RecordSet::formatValue(rs.storageRow(storageRow).value(f), rs.fields().at(f).type);
}

QString field(const RecordSet &rs, int storageRow, QStringView name)
{
    return fieldAt(rs, storageRow, rs.fieldIndex(name));
}

qint64 numberAt(const RecordSet &rs, int storageRow, int f)
{
    if (f < 0)
        return -1;
    // Read as stored where it can be: every row of a long list passes here at each bind.
    const QVariant value = rs.storageRow(storageRow).value(f);
    bool ok = false;
    qint64 n = value.toLongLong(&ok);
    if (!ok)
        n = value.toString().trimmed().toLongLong(&ok);
    return ok ? n : -1;
}

// The fields a row's filter text and marks read, looked up once per record set.
struct ListFields {
    const RecordSet *of = nullptr;
    int number = -1, from = -1, to = -1, status = -1, due = -1, closed = -1;
    QList<int> texts;
    void resolve(const RecordSet &rs)
    {
        if (of == &rs)
            return;
        of = &rs;
        number = rs.fieldIndex(u"ASGNMT_NBR");
        from = rs.fieldIndex(u"OFCR_FRM_ID");
        to = rs.fieldIndex(u"OFCR_TO_ID");
        status = rs.fieldIndex(u"ASGNMT_STTS_CD");
        due = rs.fieldIndex(u"DUE_DT");
        closed = rs.fieldIndex(u"CLSE_DT");
        texts.clear();
        for (QStringView name : {u"ASGNMT_NBR", u"ASGNMT_SBJCT_TXT", u"ASGNMT_CMMT_TXT", u"CUST_ID",
                                 u"CUST_NM", u"FORM_NBR"})
            texts.append(rs.fieldIndex(name));
    }
};

} // namespace

QString AssignmentListTools::officerName(const RecordSet &rs, int storageRow, int idField) const
{
    // A list names a few hundred officers over thousands of rows: each name is made once.
    const QString id = fieldAt(rs, storageRow, idField).trimmed();
    auto it = m_names.constFind(id);
    if (it == m_names.cend())
        it = m_names.insert(id, modAssignMaint::OfficerDisplayName(id));
    return *it;
}

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

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(label);
    layout->addWidget(m_filter, 1);
    layout->addWidget(m_counts);
    layout->addWidget(m_export);

    GridProxyModel *shown = grid->shownModel();
    shown->setMarkColumn(0);
    shown->setRowInfoSource([this, fields = ListFields()](const RecordSet &rs, int s) mutable {
        fields.resolve(rs);
        GridProxyModel::RowInfo info;
        QString &text = info.haystack;
        for (int f : std::as_const(fields.texts))
            text += fieldAt(rs, s, f) + u'\n';
        text += officerName(rs, s, fields.from) + u'\n' + officerName(rs, s, fields.to);
        // Open (not closed) and due before today.
        const QVariant due = fields.due < 0 ? QVariant() : rs.storageRow(s).value(fields.due);
        const QDate date = due.typeId() == QMetaType::QDate
                               ? due.toDate()
                               : QDate::fromString(due.toString().trimmed().left(10), Qt::ISODate);
        info.overdue = date.isValid() && date < m_today &&
                       fieldAt(rs, s, fields.status).trimmed() != u"C" &&
                       fieldAt(rs, s, fields.closed).trimmed().isEmpty();
        // Each row is worked out once per list, so the list's numbers are gathered here
        // rather than in a pass of their own when it is bound.
        const qint64 number = numberAt(rs, s, fields.number);
        if (number >= 0)
            m_listed.insert(number);
        info.fresh = !m_previous.isEmpty() && number >= 0 && !m_previous.contains(number);
        return info;
    });
    shown->setSortTextSource([this](const RecordSet &rs, int s, int column) {
        return displayText(rs, s, m_grid->columnName(column));
    });
    grid->setHeadingSort(true);

    connect(control, &DataControl::recordSetAboutToChange, this, [this] {
        // The outgoing list becomes what the next one is compared with: all of its numbers.
        if (m_control->recordSet())
            m_grid->shownModel()->ensureInfo();
        m_previous = std::exchange(m_listed, {});
    });
    connect(control, &DataControl::recordSetChanged, this, &AssignmentListTools::listBound);
    connect(shown, &QAbstractItemModel::modelReset, this, &AssignmentListTools::updateCounts);
    connect(shown, &GridProxyModel::infoReady, this, &AssignmentListTools::updateCounts);
    connect(m_filter, &QLineEdit::textChanged, grid, &DataGrid::setFilterText);
    connect(m_export, &QPushButton::clicked, this, &AssignmentListTools::exportClicked);
    updateCounts();
}

QString AssignmentListTools::displayText(const RecordSet &rs, int storageRow,
                                         const QString &column) const
{
    // As the rows show them once loaded.
    if (column == u"ASSIGNED_FROM")
        return officerName(rs, storageRow, rs.fieldIndex(u"OFCR_FRM_ID"));
    if (column == u"ASSIGNED_TO")
        return officerName(rs, storageRow, rs.fieldIndex(u"OFCR_TO_ID"));
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

void AssignmentListTools::listBound()
{
    m_today = platform().clock ? platform().clock->today() : QDate::currentDate();
    m_names.clear();
    updateCounts();
    emit listShown();
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
    // A long list's marks are counted once its rows are worked out, a frame or so later.
    if (const int overdue = shown->infoComplete() ? shown->overdueCount() : 0)
        text += tr(", %1 overdue").arg(overdue);
    if (const int fresh = shown->infoComplete() ? shown->freshCount() : 0)
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
