// The forward dialog: its controls, loading, the choice of target and the officer list.
#include "dialogs/frmassignforward.h"

#include "common/controlnames.h"
#include "common/modassignmaint.h"
#include "common/officergrid.h"
#include "dialogs/assignmentinfo.h"
#include "dialogs/frmaddofficer.h"
#include "platform/broker.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QButtonGroup>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace korva {

namespace {

RecordSetPtr newOfficerList()
{
    return RecordSet::create(QStringLiteral("OFFICER"),
                             {{QStringLiteral("INSP_ID"), FieldType::Integer},
                              {QStringLiteral("INSP_NME_LST"), FieldType::Text},
                              {QStringLiteral("INSP_NME_FRST"), FieldType::Text},
                              {QStringLiteral("INSP_NME_MDL_INT"), FieldType::Text}});
}

FieldMarks &marks()
{
    return *platform().marks;
}

} // namespace

frmAssignForward::frmAssignForward(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("frmAssignForward"));
    setWindowTitle(QStringLiteral("Forward Assignment"));
    buildControls();
    layoutControls();
    connectHandlers();
}

frmAssignForward::~frmAssignForward() = default;

void frmAssignForward::buildControls()
{
    fraFrame0 = new AssignmentInfoFrame(this);
    fraFrame0->setObjectName(indexed("fraFrame", 0));
    const char *frames[] = {nullptr, "Assignment To", "Assignment Dates", "Forwarding Comments"};
    for (int i = 1; i <= 3; ++i) {
        fraFrame[i] = new QGroupBox(QLatin1String(frames[i]), this);
        fraFrame[i]->setObjectName(indexed("fraFrame", i));
    }
    QWidget *to = fraFrame[1];
    const char *options[] = {"Officer", "Agency", "Troop/District"};
    auto *group = new QButtonGroup(this);
    for (int i = 0; i < 3; ++i) {
        optButton[i] = new QRadioButton(QLatin1String(options[i]), to);
        optButton[i]->setObjectName(indexed("optButton", i));
        group->addButton(optButton[i], i);
    }
    for (int i = 0; i < 2; ++i) {
        txtBox[i] = new QLineEdit(to);
        txtBox[i]->setObjectName(indexed("txtBox", i));
    }
    txtBox[0]->setMaxLength(9);
    txtBox[0]->setPlaceholderText(tr("Officer number"));
    txtBox[1]->setMaxLength(5);
    txtBox[1]->setPlaceholderText(tr("e.g. B12"));
    txtBox[1]->setToolTip(tr("The troop letter or digit followed by the district"));
    txtComment = new QPlainTextEdit(fraFrame[3]);
    txtComment->setObjectName(indexed("txtBox", 2));
    txtComment->setTabChangesFocus(true);
    const char *buttons[] = {"Select Officers", "Clear", "Save", "Close"};
    for (int i = 0; i < 4; ++i) {
        cmdButton[i] = new QPushButton(QLatin1String(buttons[i]), this);
        cmdButton[i]->setObjectName(indexed("cmdButton", i));
        cmdButton[i]->setAutoDefault(false);
    }
    cboFTBox0 = new KORVA_CodesCombo(to);
    cboFTBox0->setObjectName(indexed("cboFTBox", 0));
    cboFTBox0->setAccessibleName(tr("Agency"));

    const char *dates[] = {"Effective Date:", "Due Date:", "Expiration Date:"};
    for (int i = 0; i < 3; ++i) {
        dtpFTDate[i] = new KORVA_DTP(fraFrame[2]);
        dtpFTDate[i]->setObjectName(indexed("dtpFTDate", i));
        dateCaptions[i] = new QLabel(QLatin1String(dates[i]), fraFrame[2]);
        dateCaptions[i]->setObjectName(indexed("lblLabel", 20 + i));
        dateCaptions[i]->setBuddy(dtpFTDate[i]);
    }

    adoOfficers = new DataControl(this);
    adoOfficers->setObjectName(QStringLiteral("adoOfficers"));
    grdOfficers = new DataGrid(to);
    grdOfficers->setObjectName(QStringLiteral("grdOfficers"));
    grdOfficers->setAccessibleName(tr("Officers"));
    grdOfficers->setCaption(QStringLiteral("Selected Officers"));
    setUpOfficerGrid(grdOfficers, adoOfficers, QStringLiteral("Registry #"), QStringLiteral("NAME"),
                     u"frmAssignForward.grdOfficers_RowLoaded");
    grdOfficers->setMinimumHeight(100);
}

void frmAssignForward::layoutControls()
{
    // The three kinds of target share one place: only the chosen one is shown.
    auto *to = new QGridLayout(fraFrame[1]);
    auto *options = new QHBoxLayout;
    for (QRadioButton *o : optButton)
        options->addWidget(o);
    options->addStretch(1);
    to->addLayout(options, 0, 0, 1, 3);
    to->addWidget(txtBox[0], 1, 0);
    to->addWidget(cmdButton[0], 1, 1);
    to->addWidget(cmdButton[1], 1, 2);
    to->addWidget(grdOfficers, 2, 0, 1, 3);
    to->addWidget(cboFTBox0, 3, 0, 1, 3);
    to->addWidget(txtBox[1], 4, 0);
    to->setColumnStretch(0, 1);
    to->setRowStretch(5, 1);

    auto *dates = new QGridLayout(fraFrame[2]);
    for (int i = 0; i < 3; ++i) {
        dates->addWidget(dateCaptions[i], i, 0);
        dates->addWidget(dtpFTDate[i], i, 1);
    }
    dates->setRowStretch(3, 1);

    auto *comment = new QVBoxLayout(fraFrame[3]);
    comment->addWidget(txtComment);

    auto *middle = new QHBoxLayout;
    middle->addWidget(fraFrame[1], 3);
    middle->addWidget(fraFrame[2], 2);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdButton[2]);
    buttons->addWidget(cmdButton[3]);
    auto *page = new QVBoxLayout(this);
    page->addWidget(fraFrame0);
    page->addLayout(middle, 2);
    page->addWidget(fraFrame[3], 1);
    page->addLayout(buttons);
    resize(780, 640);
}

void frmAssignForward::connectHandlers()
{
    for (int i = 0; i < 3; ++i) {
        connect(optButton[i], &QRadioButton::toggled, this, [this, i](bool on) {
            if (on)
                optButton_Click(i);
        });
    }
    for (int i = 0; i < 4; ++i)
        connect(cmdButton[i], &QPushButton::clicked, this, [this, i] { cmdButton_Click(i); });
    for (int i = 0; i < 2; ++i) {
        connect(txtBox[i], &QLineEdit::textChanged, this, [this, i] { txtBox_Change(i); });
        txtBox[i]->installEventFilter(this);
    }
    txtComment->viewport()->installEventFilter(this);
    for (int i = 0; i < 3; ++i)
        connect(dtpFTDate[i], &KORVA_DTP::Change, this, [this, i] { CheckDates(i); });
}

void frmAssignForward::ensureLoaded()
{
    if (m_loaded)
        return;
    m_loaded = true;
    Form_Load();
}

void frmAssignForward::Form_Load()
{
    guard(u"frmAssignForward.Form_Load", [&] {
        {
            const QSignalBlocker quiet(optButton[0]);
            optButton[0]->setChecked(true);
        }
        txtBox[0]->show();
        cmdButton[0]->show();
        cboFTBox0->hide();
        txtBox[1]->hide();

        const QDate day = today();
        for (KORVA_DTP *d : dtpFTDate)
            d->setMinDate(QDate(1993, 1, 1));
        dtpFTDate[0]->setValue(day);
        dtpFTDate[1]->setValue(day.addDays(m_dueOffset));
        dtpFTDate[2]->setValue(day.addDays(m_expirationOffset));

        if (!mZelbMessage) {
            mZelbMessage = new BrokerMessage(this);
            connect(mZelbMessage, &BrokerMessage::DataReady, this,
                    &frmAssignForward::mZelbMessage_DataReady);
            connect(mZelbMessage, &BrokerMessage::MsgTimeout, this,
                    &frmAssignForward::mZelbMessage_MsgTimeout);
        }
        m_formIdentity = QStringLiteral("KORVA_AssignMaint.frmAssignForward");
        bindOfficers(newOfficerList());
        SetTabOrder();
    });
    // Apart, so that a code list that cannot be read leaves the rest of the dialog loaded.
    guard(u"frmAssignForward.Form_Load",
          [&] { cboFTBox0->fillFromCodeTable(QStringLiteral("AGENCY")); });
}

void frmAssignForward::SetTabOrder()
{
    guard(u"KORVA_AssignMaint.SetTabOrder", [&] {
        const QList<QWidget *> order{optButton[0], optButton[1], optButton[2], txtBox[0],
                                     cmdButton[0], cmdButton[1], grdOfficers,  cboFTBox0,
                                     txtBox[1],    dtpFTDate[0], dtpFTDate[1], dtpFTDate[2],
                                     txtComment,   cmdButton[2], cmdButton[3]};
        for (int i = 1; i < order.size(); ++i)
            setTabOrder(order.at(i - 1), order.at(i));
    });
}

void frmAssignForward::AdjustDueDate(qint16 days)
{
    m_dueOffset = days;
}

void frmAssignForward::AdjustExpirationDate(qint16 days)
{
    m_expirationOffset = days;
}

void frmAssignForward::PassParameters(const QString &parameters)
{
    ensureLoaded();
    guard(u"frmAssignForward.PassParameters", [&] {
        const QStringList pieces = parameters.split(u'~');
        m_assignmentNumber = parameterPiece(pieces, 0);
        fraFrame0->fillFromParameters(pieces);
        m_typeCode = parameterPiece(pieces, 14);
        m_formTypeCode = parameterPiece(pieces, 15);
    });
}

int frmAssignForward::selectedOption() const
{
    for (int i = 0; i < 3; ++i) {
        if (optButton[i]->isChecked())
            return i;
    }
    return -1;
}

void frmAssignForward::optButton_Click(int index)
{
    guard(u"frmAssignForward.optButton_Click", [&] {
        marks().ClearFieldError(txtBox[0]);
        marks().ClearFieldError(cboFTBox0);
        marks().ClearFieldError(txtBox[1]);
        const bool officer = index == 0;
        const QWidgetList officerInputs{txtBox[0], cmdButton[0], cmdButton[1], grdOfficers};
        for (QWidget *w : officerInputs)
            w->setVisible(officer);
        cboFTBox0->setVisible(index == 1);
        txtBox[1]->setVisible(index == 2);

        QWidget *shown = nullptr;
        QString text;
        const char *reason = nullptr;
        switch (index) {
        case 0:
            shown = txtBox[0];
            text = txtBox[0]->text();
            reason = ForwardTexts::Officer;
            break;
        case 1:
            shown = cboFTBox0;
            text = cboFTBox0->text();
            reason = ForwardTexts::Agency;
            break;
        case 2:
            shown = txtBox[1];
            text = txtBox[1]->text();
            reason = ForwardTexts::Troop;
            break;
        default:
            return;
        }
        if (text.trimmed().isEmpty())
            marks().MarkFieldError(shown, QLatin1String(reason));
        shown->setFocus();
    });
}

void frmAssignForward::cmdButton_Click(int index)
{
    guard(u"frmAssignForward.cmdButton_Click", [&] {
        switch (index) {
        case 0: {
            auto *picker = new frmAddOfficer(this);
            connect(picker, &frmAddOfficer::SendOK, this,
                    &frmAssignForward::mEventAddOfficer_SendOK);
            picker->exec();
            picker->deleteLater();
            break;
        }
        case 1:
            clearOfficers();
            break;
        case 2:
            if (CheckEdits())
                SaveDataForward();
            break;
        case 3:
            emit SendCancel();
            hide();
            break;
        default:
            break;
        }
    });
}

void frmAssignForward::bindOfficers(RecordSetPtr list)
{
    grdOfficers->setRedraw(false);
    adoOfficers->setRecordSet(std::move(list));
    grdOfficers->setRedraw(true);
}

void frmAssignForward::clearOfficers()
{
    bindOfficers(newOfficerList());
    grdOfficers->viewport()->update();
    txtBox[0]->setEnabled(true);
    txtBox[0]->clear();
    marks().MarkFieldError(txtBox[0], QLatin1String(ForwardTexts::Officer));
}

void frmAssignForward::mEventAddOfficer_SendOK(const RecordSetPtr &officers)
{
    ensureLoaded();
    guard(u"frmAssignForward.mEventAddOfficer_SendOK", [&] {
        if (!officers || officers->count() == 0)
            raiseQuiet();
        // Merged into a copy: the bound list's cursor follows the grid's current row, which
        // every added row would move.
        RecordSetPtr list = adoOfficers->recordSet()->clone();
        for (officers->moveFirst(); !officers->isEOF(); officers->moveNext()) {
            const QString id = officers->text(u"INSP_ID");
            if (list->count() > 0 && list->findFirst(QStringLiteral("INSP_ID=") + id))
                continue;
            list->addNew();
            list->setValue(u"INSP_ID", officers->value(u"INSP_ID"));
            list->setValue(u"INSP_NME_LST", officers->value(u"INSP_NME_LST"));
            list->setValue(u"INSP_NME_FRST", officers->value(u"INSP_NME_FRST"));
            list->setValue(u"INSP_NME_MDL_INT", officers->value(u"INSP_NME_MDL_INT"));
            list->update();
        }
        list->setSort(QStringLiteral("INSP_NME_LST"));
        bindOfficers(list);
        grdOfficers->viewport()->update();
        list->moveFirst();
        if (grdOfficers->rowCount() > 0)
            grdOfficers->setCurrentRow(0);
        if (list->count() > 0) {
            // A typed officer and a list of officers never stand together.
            marks().ClearFieldError(txtBox[0]);
            txtBox[0]->clear();
            txtBox[0]->setEnabled(false);
        }
    });
}

} // namespace korva
