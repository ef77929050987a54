// The history of one assignment: the assignment on top, its recorded steps newest first.
#include "frmassignhistory.h"

#include "assignmentinfo.h"

#include "common/modassignmaint.h"
#include "platform/controls/datagrid.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QPushButton>
#include <QResizeEvent>

namespace korva {

namespace {

struct HistoryColumn {
    const char *name;
    const char *caption; // null: the field's own name
    bool bound;
    bool visible;
    int width = 0;
};

// The bound columns carry the broker's field names; the two names are filled per row.
constexpr HistoryColumn kHistoryColumns[] = {
    {"ASGNMT_SBJCT_TXT", "Subject", true, true, 160},
    {"OFCR_CRTR_ID", nullptr, true, false},
    {"ASGNMT_NBR", nullptr, true, false},
    {"OFCR_FRM_ID", nullptr, true, false},
    {"OFCR_TO_ID", nullptr, true, false},
    {"ASGNMT_TYP_CD", nullptr, true, false},
    {"FORM_NBR", nullptr, true, false},
    {"FORM_TYP_CD", nullptr, true, false},
    {"ASGNMT_STTS_CD", nullptr, true, false},
    {"AGNCY_CD", nullptr, true, false},
    {"STATION_ID", nullptr, true, false},
    {"LST_UPDT_TS", "Updated", true, true, 150},
    {"ACTION", "Action", true, true, 70},
    {"ASSIGNED_TO", "Assigned To", false, true, 150},
    {"ASSIGNED_FROM", "Assigned From", false, true, 150},
    {"ASGNMT_DT", "Assigned Date", true, true, 90},
    {"EFCTV_DT", "Effective Date", true, true, 90},
    {"DUE_DT", "Due Date", true, true, 90},
    {"EXPRTN_DT", "Expire Date", true, true, 90},
    {"CLSE_DT", "Close Date", true, true, 90},
    {"ASGNMT_CMMT_TXT", "Comment", true, true, 260},
    {"TRP_ID", nullptr, true, false},
    {"TRP_DIST_ID", nullptr, true, false},
};

// An empty history still sorts and binds, so it carries the history's fields.
RecordSetPtr emptyHistory()
{
    QList<Field> fields;
    for (const HistoryColumn &c : kHistoryColumns) {
        if (c.bound)
            fields.append({QLatin1String(c.name), FieldType::Text});
    }
    return RecordSet::create(QStringLiteral("ASSIGNMENT"), fields);
}

} // namespace

frmAssignHistory::frmAssignHistory(QWidget *parent)
    : QDialog(parent)
{
    buildControls();
    Form_Load();
}

frmAssignHistory::~frmAssignHistory() = default;

void frmAssignHistory::buildControls()
{
    setObjectName(QStringLiteral("frmAssignHistory"));
    setWindowTitle(QStringLiteral("Assignment History"));
    setModal(true);

    // Placed by hand: Form_Resize's rule keeps the grid and the button where they belong.
    constexpr int margin = 8;
    fraFrame = new AssignmentInfoFrame(this);
    fraFrame->setObjectName(QStringLiteral("fraFrame"));
    const QSize frameSize = fraFrame->sizeHint();
    fraFrame->setGeometry(margin, margin, 760, frameSize.height());

    adoHistory = new DataControl(this);
    adoHistory->setObjectName(QStringLiteral("adoHistory"));
    grdHistory = new DataGrid(this);
    grdHistory->setObjectName(QStringLiteral("grdHistory"));
    grdHistory->setAccessibleName(tr("History"));
    for (const HistoryColumn &c : kHistoryColumns) {
        const QString name = QLatin1String(c.name);
        const QString caption = c.caption ? QLatin1String(c.caption) : name;
        const int index =
            grdHistory->addColumn(name, caption, c.bound ? name : QString(), c.visible);
        if (c.width > 0)
            grdHistory->setColumnWidth(index, c.width);
    }
    grdHistory->setDataControl(adoHistory);
    connect(grdHistory, &DataGrid::RowLoaded, this, &frmAssignHistory::grdHistory_RowLoaded);
    grdHistory->setGeometry(margin, margin * 2 + frameSize.height(), 760, 220);

    cmdOK = new QPushButton(QStringLiteral("OK"), this);
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdOK->setDefault(true);
    cmdOK->resize(90, cmdOK->sizeHint().height());
    connect(cmdOK, &QPushButton::clicked, this, &frmAssignHistory::cmdOK_Click);

    setMinimumSize(420, frameSize.height() + 160);
    resize(776 + margin, frameSize.height() + 300);
}

void frmAssignHistory::Form_Load()
{
    guard(u"frmAssignHistory.Form_Load", [&] { SetGridBolding(grdHistory); });
}

void frmAssignHistory::SetGridBolding(DataGrid *grid)
{
    guard(u"frmAssignHistory.SetGridBolding", [&] { applyGridBolding(grid); });
}

void frmAssignHistory::PassParameters(const QString &parameters)
{
    guard(u"frmAssignHistory.PassParameters",
          [&] { fraFrame->fillFromParameters(parameters.split(u'~')); });
}

void frmAssignHistory::LoadAssignmentHistory(RecordSetPtr &history)
{
    guard(
        u"frmAssignHistory.LoadAssignmentHistory",
        [&] {
            if (!history)
                history = emptyHistory();
            grdHistory->setRedraw(false);
            history->setSort(QStringLiteral("LST_UPDT_TS") + QStringLiteral(" DESC"));
            adoHistory->setRecordSet(history);
            if (grdHistory->rowCount() > 0)
                grdHistory->setCurrentRow(0);
            grdHistory->setRedraw(true);
            platform().status->StatusText(history->count() >= 1
                                              ? QStringLiteral("Displaying Assignment History")
                                              : QStringLiteral("No Assignment History"));
        },
        Quiet::Swallow, [&] { grdHistory->setRedraw(true); });
}

void frmAssignHistory::grdHistory_RowLoaded(GridRow &row)
{
    guard(u"frmAssignHistory.grdHistory_RowLoaded", [&] {
        if (row.isEmpty())
            return;
        row.setText(QStringLiteral("ASSIGNED_TO"),
                    modAssignMaint::AddresseeDisplayName(
                        row.text(QStringLiteral("OFCR_TO_ID")), row.text(QStringLiteral("AGNCY_CD")),
                        row.text(QStringLiteral("TRP_ID")), row.text(QStringLiteral("TRP_DIST_ID"))));
        row.setText(QStringLiteral("ASSIGNED_FROM"),
                    modAssignMaint::OfficerDisplayName(row.text(QStringLiteral("OFCR_FRM_ID"))));
    });
}

void frmAssignHistory::resizeEvent(QResizeEvent *event)
{
    QDialog::resizeEvent(event);
    Form_Resize();
}

void frmAssignHistory::Form_Resize()
{
    guard(u"frmAssignHistory.Form_Resize", [&] {
        const int margin = grdHistory->x();
        const int innerWidth = width();
        const int innerHeight = height();
        fraFrame->resize(innerWidth - 2 * margin, fraFrame->height());
        grdHistory->resize(innerWidth - 2 * margin,
                           innerHeight - grdHistory->y() - cmdOK->height() - 2 * margin);
        cmdOK->move(innerWidth - cmdOK->width() - margin,
                    grdHistory->y() + grdHistory->height() + margin);
    });
}

void frmAssignHistory::cmdOK_Click()
{
    guard(u"frmAssignHistory.cmdOK_Click", [&] { close(); });
}

void frmAssignHistory::closeEvent(QCloseEvent *event)
{
    Form_Unload();
    QDialog::closeEvent(event);
}

void frmAssignHistory::Form_Unload()
{
    // The dialog lets go of the history it shows; the caller keeps its own reference.
    guard(u"frmAssignHistory.Form_Unload", [&] { adoHistory->setRecordSet(nullptr); });
}

} // namespace korva
