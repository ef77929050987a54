// The list tab's controls, their layout and its start-up.
#include "assignmentlisttab.h"

#include "assignmentlisttools.h"
#include "common/controlnames.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace korva {

namespace {

QRadioButton *radio(const QString &caption, const QString &name, QWidget *parent)
{
    auto *b = new QRadioButton(caption, parent);
    b->setObjectName(name);
    return b;
}

struct GridColumn {
    const char *name;
    const char *caption;
    bool bound;
    bool visible;
    int width = 0; // 0: the grid's default
};

// Bound columns carry the broker's field names; display columns are filled as rows load.
// The technical columns stay hidden but readable, since the row commands read them.
constexpr GridColumn kAssignmentColumns[] = {
    {"Status", "Status", false, true, 95}, // room for the overdue or new mark
    {"ASGNMT_NBR", "Number", true, true, 70},
    {"ASSIGNMENT_TYPE", "Assignment Type", false, true, 150},
    {"ASGNMT_SBJCT_TXT", "Subject", true, true, 170},
    {"ASSIGNED_FROM", "Assigned From", false, true, 150},
    {"ASSIGNED_TO", "Assigned To", false, true, 150},
    {"ASGNMT_DT", "Assigned", true, true, 85},
    {"EFCTV_DT", "Effective", true, true, 85},
    {"DUE_DT", "Due", true, true, 85},
    {"CLSE_DT", "Closed", true, true, 85},
    {"CITATION_NUMBER", "Reference Number", false, true, 115},
    {"CITATION_TYPE", "Reference Type", false, true, 130},
    {"ASGNMT_CMMT_TXT", "Comments", true, true, 250},
    {"ASGNMT_TYP_CD", "Type Code", true, false},
    {"ASGNMT_STTS_CD", "Status Code", true, false},
    {"OFCR_FRM_ID", "From Officer", true, false},
    {"OFCR_TO_ID", "To Officer", true, false},
    {"OFCR_CRTR_ID", "Creator", true, false},
    {"FORM_NBR", "Form Number", true, false},
    {"FORM_TYP_CD", "Form Type", true, false},
    {"HIST_CNT", "History Entries", true, false},
    {"EXPRTN_DT", "Expires", true, false},
    {"CUST_ID", "Customer", true, false},
    {"CUST_NM", "Customer Name", true, false},
    {"PRPRD_DT", "Prepared", true, false},
    {"RFND_NBR", "Refund Number", true, false},
    {"RFND_AMT", "Refund Amount", true, false},
    {"STTS_CD", "Refund Status", true, false},
    {"AGNCY_CD", "Agency", true, false},
    {"TRP_ID", "Troop", true, false},
    {"TRP_DIST_ID", "District", true, false},
};

// The earliest date the search accepts.
const QDate kSearchFloor(1993, 1, 1);

} // namespace

AssignmentListTab::AssignmentListTab(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("fraList"));
    createControls();
    connectHandlers();
}

AssignmentListTab::~AssignmentListTab() = default;

void AssignmentListTab::setOfficerId(qint16 id)
{
    m_officerId = id;
}

void AssignmentListTab::createControls()
{
    auto *search = new QGroupBox(QStringLiteral("Search"), this);
    auto *grid = new QGridLayout(search);
    for (int i = 0; i < 2; ++i) {
        dtpFTDate[i] = new KORVA_DTP(search);
        dtpFTDate[i]->setObjectName(indexed("dtpFTDate", i));
    }
    dtpFTDate[kFrom]->setAllowEmpty(true);
    // The labels name the pickers for a screen reader.
    auto *fromLabel = new QLabel(QStringLiteral("Assigned From"), search);
    fromLabel->setBuddy(dtpFTDate[kFrom]);
    auto *toLabel = new QLabel(QStringLiteral("Assigned To"), search);
    toLabel->setBuddy(dtpFTDate[kTo]);
    grid->addWidget(fromLabel, 0, 0);
    grid->addWidget(dtpFTDate[kFrom], 0, 1);
    grid->addWidget(toLabel, 1, 0);
    grid->addWidget(dtpFTDate[kTo], 1, 1);

    // Each pair sits in its own box, so that the pairs do not exclude one another.
    auto *direction = new QGroupBox(QStringLiteral("Assignments"), search);
    auto *dirLayout = new QVBoxLayout(direction);
    optButton[kReceived] = radio(QStringLiteral("Received"), indexed("optButton", 3), direction);
    optSent = radio(QStringLiteral("Sent"), QStringLiteral("optSent"), direction);
    optButton[kReceived]->setChecked(true);
    dirLayout->addWidget(optButton[kReceived]);
    dirLayout->addWidget(optSent);
    grid->addWidget(direction, 0, 2, 2, 1);

    // Open and Closed exclude one another but may both be off: then every status is listed.
    auto *state = new QGroupBox(QStringLiteral("Status"), search);
    auto *stateLayout = new QVBoxLayout(state);
    optButton[kOpen] = radio(QStringLiteral("Open"), indexed("optButton", 1), state);
    optButton[kClosed] = radio(QStringLiteral("Closed"), indexed("optButton", 2), state);
    for (int i : {kOpen, kClosed}) {
        optButton[i]->setAutoExclusive(false);
        stateLayout->addWidget(optButton[i]);
    }
    optButton[kOpen]->setChecked(true);
    grid->addWidget(state, 0, 3, 2, 1);

    auto *officers = new QGroupBox(QStringLiteral("Show"), search);
    auto *offLayout = new QVBoxLayout(officers);
    optCurrentOfficer =
        radio(QStringLiteral("Current Officer"), QStringLiteral("optCurrentOfficer"), officers);
    optAllOfficers =
        radio(QStringLiteral("All Officers"), QStringLiteral("optAllOfficers"), officers);
    optCurrentOfficer->setChecked(true);
    offLayout->addWidget(optCurrentOfficer);
    offLayout->addWidget(optAllOfficers);
    cboListOfficer = new QComboBox(officers);
    cboListOfficer->setObjectName(QStringLiteral("cboListOfficer"));
    cboListOfficer->setAccessibleName(QStringLiteral("Whose assignments"));
    cboListOfficer->setToolTip(QStringLiteral("Whose assignments the search lists"));
    cboListOfficer->hide();
    offLayout->addWidget(cboListOfficer);
    grid->addWidget(officers, 0, 4, 2, 1);

    cmdButton[kSearch] = new QPushButton(QStringLiteral("&Search"), search);
    cmdButton[kSearch]->setObjectName(indexed("cmdButton", 0));
    grid->addWidget(cmdButton[kSearch], 0, 5);
    grid->setColumnStretch(6, 1);

    adoAssignment = new DataControl(this);
    adoAssignment->setObjectName(QStringLiteral("adoAssignment"));
    grdAssignment = new DataGrid(this);
    grdAssignment->setObjectName(QStringLiteral("grdAssignment"));
    for (const GridColumn &c : kAssignmentColumns) {
        const QString name = QLatin1String(c.name);
        const int index = grdAssignment->addColumn(name, QLatin1String(c.caption),
                                                   c.bound ? name : QString(), c.visible);
        if (c.width > 0)
            grdAssignment->setColumnWidth(index, c.width);
    }
    grdAssignment->setDataControl(adoAssignment);
    listTools = new AssignmentListTools(grdAssignment, adoAssignment, this);

    auto *commands = new QHBoxLayout;
    const char *captions[] = {"&Forward", "&Reply", "&Close", "Re&open", "&History"};
    for (int i = kForward; i <= kHistory; ++i) {
        cmdButton[i] = new QPushButton(QLatin1String(captions[i - 1]), this);
        cmdButton[i]->setObjectName(indexed("cmdButton", i));
        commands->addWidget(cmdButton[i]);
    }
    commands->addStretch(1);
    chkBox[kClosesAny] = new QCheckBox(QStringLiteral("Can close any assignment"), this);
    chkBox[kClosesAny]->setObjectName(indexed("chkBox", 2));
    // It tells by being enabled; nothing ticks it, neither the user nor the start-up rights.
    chkBox[kClosesAny]->setAttribute(Qt::WA_TransparentForMouseEvents);
    chkBox[kClosesAny]->setFocusPolicy(Qt::NoFocus);
    commands->addWidget(chkBox[kClosesAny]);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(search);
    layout->addWidget(listTools);
    layout->addWidget(grdAssignment, 1);
    layout->addLayout(commands);
}

void AssignmentListTab::connectHandlers()
{
    for (int i = kSearch; i <= kHistory; ++i)
        connect(cmdButton[i], &QPushButton::clicked, this, [this, i] { emit commandClicked(i); });
    connect(grdAssignment, &DataGrid::RowLoaded, this, &AssignmentListTab::grdAssignment_RowLoaded);
    connect(optCurrentOfficer, &QRadioButton::toggled, this, [this](bool on) {
        if (on)
            ProcessOptCurrentOfficer();
    });
    connect(optAllOfficers, &QRadioButton::toggled, this, [this](bool on) {
        if (on)
            ProcessOptAllOfficers();
    });
    // Open and Closed behave as a pair that may also be left with neither chosen.
    connect(optButton[kOpen], &QRadioButton::toggled, this, [this](bool on) {
        if (on)
            optButton[kClosed]->setChecked(false);
    });
    connect(optButton[kClosed], &QRadioButton::toggled, this, [this](bool on) {
        if (on)
            optButton[kOpen]->setChecked(false);
    });
}

void AssignmentListTab::setUpGrid()
{
    grdAssignment->styleSet(QStringLiteral("RowRed")).setForeColorValue(255);
    // The grids set up their selection and record selectors themselves; what is left is how
    // the assignment list uses its width.
    grdAssignment->horizontalHeader()->setStretchLastSection(true);
    grdAssignment->setAlternatingRowColors(true);
}

void AssignmentListTab::initialiseDates(const QDate &today)
{
    // Emptied after being set, so that a fresh search starts at the earliest date.
    dtpFTDate[kFrom]->setValue(today);
    dtpFTDate[kFrom]->clear();
    dtpFTDate[kTo]->setValue(today);
    dtpFTDate[kFrom]->setMinDate(kSearchFloor);
    dtpFTDate[kTo]->setMinDate(kSearchFloor);
}

void AssignmentListTab::setClosersIndicator(bool closer)
{
    chkBox[kClosesAny]->setEnabled(closer);
}

void AssignmentListTab::chainTabOrder()
{
    QList<QWidget *> chain{dtpFTDate[kFrom],  dtpFTDate[kTo],   optButton[kReceived],
                           optSent,           optButton[kOpen], optButton[kClosed],
                           optCurrentOfficer, optAllOfficers,   cmdButton[kSearch],
                           grdAssignment};
    for (int i = kForward; i <= kHistory; ++i)
        chain.append(cmdButton[i]);
    for (int i = 1; i < chain.size(); ++i)
        QWidget::setTabOrder(chain.at(i - 1), chain.at(i));
}

void AssignmentListTab::enableRowCommands(bool enable)
{
    for (int i : {kForward, kReply, kReopen, kClose, kHistory})
        cmdButton[i]->setEnabled(enable);
}

void AssignmentListTab::enableForSelection(const QString &status, bool systemGenerated,
                                           int historyCount)
{
    cmdButton[kForward]->setEnabled(true);
    cmdButton[kHistory]->setEnabled(true);
    const bool open = status == u"O";
    cmdButton[kReopen]->setEnabled(!open);
    cmdButton[kClose]->setEnabled(open);
    cmdButton[kReply]->setEnabled(!systemGenerated);
    cmdButton[kHistory]->setEnabled(historyCount > 0);
}

} // namespace korva
