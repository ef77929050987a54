// The new-assignment tab: its controls, their layout and the wiring of their events.
#include "assignmententrytab.h"

#include "common/controlnames.h"
#include "common/modassignmaint.h"
#include "common/officergrid.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QButtonGroup>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace korva {

namespace {

QLabel *buddyLabel(const QString &caption, QWidget *buddy, QWidget *parent)
{
    auto *label = new QLabel(caption, parent);
    label->setBuddy(buddy);
    return label;
}

} // namespace

AssignmentEntryTab::AssignmentEntryTab(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("tabNewAssignment"));
    createControls();
    setCaptionsAndLimits();
    layoutControls();
    clearOfficers();
    optButton[7]->setChecked(true);
    UpdateAssignToInputs();
    guard(u"KORVA_AssignMaint.InitializeSettings",
          [&] { m_officerId = toInteger16(double(platform().user->officerId())); });
    initialiseDates(today());
    connectHandlers();
}

void AssignmentEntryTab::loadCodeLists()
{
    // Filling a combo raises no Change: no handler runs for it.
    guard(u"KORVA_AssignMaint.GetAdditionalInfoTxt", [&] { LoadTypeCombo(); });
    guard(u"KORVA_AssignMaint.UserDocument_Show", [&] {
        cboFTBox[1]->fillFromCodeTable(QStringLiteral("REFDOCTYP"));
        cboFTBox[2]->fillFromCodeTable(QStringLiteral("AGENCY"));
    });
}

AssignmentEntryTab::~AssignmentEntryTab()
{
    // A context menu still open outlives this part of the object; it must not call back.
    const QList<QMenu *> menus = findChildren<QMenu *>();
    for (QMenu *menu : menus)
        disconnect(menu, nullptr, this, nullptr);
}

void AssignmentEntryTab::createControls()
{
    for (int i = 0; i < 3; ++i) {
        cboFTBox[i] = new KORVA_CodesCombo(this);
        cboFTBox[i]->setObjectName(indexed("cboFTBox", i));
    }
    for (int i : {0, 1, 2, 4}) {
        txtBox[i] = new QLineEdit(this);
        txtBox[i]->setObjectName(indexed("txtBox", i));
    }
    txtComment = new QPlainTextEdit(this);
    txtComment->setObjectName(indexed("txtBox", 3));
    for (int i = 2; i <= 4; ++i) {
        dtpFTDate[i] = new KORVA_DTP(this);
        dtpFTDate[i]->setObjectName(indexed("dtpFTDate", i));
    }
    auto *assignTo = new QButtonGroup(this);
    for (int i = 7; i <= 9; ++i) {
        optButton[i] = new QRadioButton(this);
        optButton[i]->setObjectName(indexed("optButton", i));
        assignTo->addButton(optButton[i], i);
    }
    for (int i = 6; i <= 11; ++i) {
        cmdButton[i] = new QPushButton(this);
        cmdButton[i]->setObjectName(indexed("cmdButton", i));
        cmdButton[i]->setAutoDefault(false);
    }
    adoOfficers = new DataControl(this);
    adoOfficers->setObjectName(QStringLiteral("adoOfficers"));
    grdOfficers = new DataGrid(this);
    grdOfficers->setObjectName(QStringLiteral("grdOfficers"));
    grdOfficers->setAccessibleName(tr("Selected officers"));
    setUpOfficerGrid(grdOfficers, adoOfficers, tr("Officer #"), QStringLiteral("NAME"),
                     u"KORVA_AssignMaint.grdOfficers_RowLoaded");
}

void AssignmentEntryTab::setCaptionsAndLimits()
{
    optButton[7]->setText(tr("&Officer"));
    optButton[8]->setText(tr("A&gency"));
    optButton[9]->setText(tr("&Troop/District"));
    cmdButton[6]->setText(tr("Select &Document..."));
    cmdButton[7]->setText(tr("Select O&fficers..."));
    cmdButton[8]->setText(tr("C&lear Officers"));
    cmdButton[9]->setText(tr("&Copy"));
    cmdButton[10]->setText(tr("P&aste"));
    cmdButton[11]->setText(tr("&Spell Check"));
    cmdButton[6]->setToolTip(tr("Look up the reference account number among the customer's forms"));
    cmdButton[7]->setToolTip(tr("Assign to several officers at once"));
    cmdButton[9]->setToolTip(tr("Copy the comment to the clipboard"));
    cmdButton[10]->setToolTip(tr("Paste the clipboard into the comment"));

    // A citation number is "nnnnnnn-c"; the troop is one character, the district up to four.
    txtBox[0]->setMaxLength(9);
    txtBox[1]->setMaxLength(9);
    txtBox[2]->setMaxLength(5);
    txtBox[4]->setMaxLength(100);
    txtBox[0]->setPlaceholderText(tr("nnnnnnn-c"));
    txtBox[1]->setPlaceholderText(tr("Officer number"));
    txtBox[2]->setPlaceholderText(tr("e.g. B12"));
    txtBox[0]->setToolTip(tr("A citation number of seven digits is completed with its check "
                             "digit when you leave the box"));
    txtBox[2]->setToolTip(tr("The troop letter or digit followed by the district"));
    txtComment->setTabChangesFocus(true);
    txtComment->setPlaceholderText(tr("What is to be done"));

    grdOfficers->setMinimumHeight(90);
    grdOfficers->setColumnWidth(grdOfficers->columnIndex(QStringLiteral("INSP_ID")), 80);

    const QString dateTip = tr("Dates cannot be earlier than today");
    for (int i = 2; i <= 4; ++i)
        dtpFTDate[i]->setToolTip(dateTip);
}

void AssignmentEntryTab::layoutControls()
{
    auto *assignment = new QGroupBox(tr("Assignment"), this);
    assignment->setObjectName(QStringLiteral("fraAssignment"));
    auto *a = new QGridLayout(assignment);
    a->addWidget(buddyLabel(tr("T&ype:"), cboFTBox[0], assignment), 0, 0);
    a->addWidget(cboFTBox[0], 0, 1);
    a->addWidget(buddyLabel(tr("Su&bject:"), txtBox[4], assignment), 1, 0);
    a->addWidget(txtBox[4], 1, 1);
    a->setColumnStretch(1, 1);

    auto *reference = new QGroupBox(tr("Reference Account"), this);
    reference->setObjectName(QStringLiteral("fraReference"));
    auto *r = new QGridLayout(reference);
    r->addWidget(buddyLabel(tr("Ty&pe:"), cboFTBox[1], reference), 0, 0);
    r->addWidget(cboFTBox[1], 0, 1, 1, 2);
    r->addWidget(buddyLabel(tr("&Number:"), txtBox[0], reference), 1, 0);
    r->addWidget(txtBox[0], 1, 1);
    r->addWidget(cmdButton[6], 1, 2);
    r->setColumnStretch(1, 1);

    auto *dates = new QGroupBox(tr("Dates"), this);
    dates->setObjectName(QStringLiteral("fraDates"));
    auto *d = new QGridLayout(dates);
    const QString dateCaptions[] = {tr("&Effective:"), tr("D&ue:"), tr("E&xpires:")};
    for (int i = 2; i <= 4; ++i) {
        d->addWidget(buddyLabel(dateCaptions[i - 2], dtpFTDate[i], dates), 0, 2 * (i - 2));
        d->addWidget(dtpFTDate[i], 0, 2 * (i - 2) + 1);
        d->setColumnStretch(2 * (i - 2) + 1, 1);
    }

    auto *assignTo = new QGroupBox(tr("Assign To"), this);
    assignTo->setObjectName(QStringLiteral("fraAssignTo"));
    auto *t = new QGridLayout(assignTo);
    t->addWidget(optButton[7], 0, 0);
    t->addWidget(txtBox[1], 0, 1);
    t->addWidget(grdOfficers, 1, 1);
    auto *officerButtons = new QHBoxLayout;
    officerButtons->addStretch(1);
    officerButtons->addWidget(cmdButton[7]);
    officerButtons->addWidget(cmdButton[8]);
    t->addLayout(officerButtons, 2, 1);
    t->addWidget(optButton[8], 3, 0);
    t->addWidget(cboFTBox[2], 3, 1);
    cboFTBox[2]->setAccessibleName(tr("Agency")); // its option button is its caption
    t->addWidget(optButton[9], 4, 0);
    t->addWidget(txtBox[2], 4, 1);
    t->setColumnStretch(1, 1);
    t->setRowStretch(1, 1);

    auto *comment = new QGroupBox(tr("Comment"), this);
    comment->setObjectName(QStringLiteral("fraComment"));
    auto *c = new QVBoxLayout(comment);
    c->addWidget(txtComment, 1);
    auto *commentButtons = new QHBoxLayout;
    commentButtons->addStretch(1);
    for (int i = 9; i <= 11; ++i)
        commentButtons->addWidget(cmdButton[i]);
    c->addLayout(commentButtons);

    auto *left = new QVBoxLayout;
    left->addWidget(assignment);
    left->addWidget(reference);
    left->addWidget(dates);
    left->addStretch(1);
    auto *top = new QHBoxLayout;
    top->addLayout(left, 1);
    top->addWidget(assignTo, 1);
    auto *page = new QVBoxLayout(this);
    page->addLayout(top, 3);
    page->addWidget(comment, 2);
}

void AssignmentEntryTab::connectHandlers()
{
    for (int i = 0; i < 3; ++i) {
        connect(cboFTBox[i], &KORVA_CodesCombo::Change, this, [this, i] { cboFTBox_Change(i); });
        cboFTBox[i]->installEventFilter(this);
    }
    for (int i : {0, 1, 2, 4}) {
        connect(txtBox[i], &QLineEdit::textChanged, this, [this, i] { txtBox_Change(i); });
        txtBox[i]->installEventFilter(this);
    }
    connect(txtComment, &QPlainTextEdit::textChanged, this, [this] { txtBox_Change(3); });
    txtComment->installEventFilter(this);
    txtComment->viewport()->installEventFilter(this);
    for (int i = 2; i <= 4; ++i)
        connect(dtpFTDate[i], &KORVA_DTP::Change, this, [this, i] {
            CheckDates(i);
            CheckEdits(); // keeps the host's save action in step with the dates
        });
    for (int i = 7; i <= 9; ++i) {
        connect(optButton[i], &QRadioButton::toggled, this, [this](bool on) {
            if (!on)
                return;
            UpdateAssignToInputs();
            CheckEdits();
        });
    }
    // The officers list decides whether the single officer number is needed.
    connect(adoOfficers, &DataControl::recordSetChanged, this, [this] { UpdateAssignToInputs(); });
}

void AssignmentEntryTab::UpdateAssignToInputs()
{
    const bool officer = optButton[7]->isChecked();
    txtBox[1]->setEnabled(officer && !officersListed());
    grdOfficers->setEnabled(officer);
    cmdButton[7]->setEnabled(officer);
    cmdButton[8]->setEnabled(officer && officersListed());
    cboFTBox[2]->setEnabled(optButton[8]->isChecked());
    txtBox[2]->setEnabled(optButton[9]->isChecked());
}

void AssignmentEntryTab::setForwardButton(QPushButton *button)
{
    m_forwardButton = button;
}

void AssignmentEntryTab::setDataChangedTest(std::function<bool()> test)
{
    m_dataChanged = std::move(test);
}

void AssignmentEntryTab::setOfficerId(qint16 id)
{
    m_officerId = id;
}

void AssignmentEntryTab::initialiseDates(const QDate &day)
{
    for (int i = 2; i <= 4; ++i) {
        dtpFTDate[i]->setMinDate(day);
        dtpFTDate[i]->setValue(day);
    }
}

void AssignmentEntryTab::clearOfficers()
{
    guard(u"KORVA_AssignMaint.ProcessCmdClearClick", [&] {
        grdOfficers->setRedraw(false);
        adoOfficers->setRecordSet(RecordSet::create(
            QStringLiteral("OFFICER"), {{QStringLiteral("INSP_ID"), FieldType::Integer},
                                        {QStringLiteral("INSP_NME_LST"), FieldType::Text},
                                        {QStringLiteral("INSP_NME_FRST"), FieldType::Text},
                                        {QStringLiteral("INSP_NME_MDL_INT"), FieldType::Text}}));
        grdOfficers->setRedraw(true);
        UpdateAssignToInputs();
    });
}

bool AssignmentEntryTab::officersListed() const
{
    return adoOfficers && adoOfficers->recordSet() && adoOfficers->recordSet()->count() > 0;
}

QDate AssignmentEntryTab::today() const
{
    return platform().clock->today();
}

} // namespace korva
