// The dialog's controls, its loading and unloading, and what OK and cancel hand back.
#include "inquiry/korva_selectcustforminq.h"

#include "common/modassignmaint.h"
#include "platform/broker.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/custselect.h"
#include "platform/controls/datagrid.h"
#include "platform/datetext.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <cmath>

namespace korva {

namespace {

QString statusCodeQuery(const QString &region)
{
    return QStringLiteral("Select CD_TBL_ID, CD_TBL_CD, CD_TBL_DES ") +
           QStringLiteral("From ZTB_CODE Where ") + QStringLiteral("REGION") +
           QStringLiteral("='") + region + QStringLiteral("' ") +
           QStringLiteral("And (CD_TBL_ID = '") + QStringLiteral("CSTATUS") + QStringLiteral("' ") +
           QStringLiteral("And ((EFCTV_DT <= %Date% And (END_DT)Is Null) Or (EFCTV_DT <= %Date% "
                          "And END_DT >= %Date%))") +
           QStringLiteral(")");
}

// The date the code list is read for: the application's working date when it has one.
QString codeListDate()
{
    const Platform &p = platform();
    const QString working = p.user->workingDate().trimmed();
    if (!working.isEmpty())
        return working;
    const QDate today = p.clock->today();
    return today.toString(QStringLiteral("M/d/yyyy"));
}

// A form number written as seven digits (a numeric text that is not a whole number is rounded,
// any other text kept as it is), a dash and the check digit as the caller hands it.
QString formatFormNumber(const QString &number, const QString &checkDigit)
{
    const QString text = number.trimmed();
    bool numeric = false;
    const double value = text.toDouble(&numeric);
    QString digits = text;
    if (numeric && std::isfinite(value)) {
        const long long whole = std::llround(value);
        digits = QString::number(whole < 0 ? -whole : whole).rightJustified(7, u'0');
        if (whole < 0)
            digits.prepend(u'-');
    }
    return digits + u'-' + checkDigit;
}

} // namespace

KORVA_SelectCustFormInq::KORVA_SelectCustFormInq(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("KORVA_SelectCustFormInq"));
    setWindowTitle(tr("Select Customer Form"));
    buildControls();
    Form_Load();
}

KORVA_SelectCustFormInq::~KORVA_SelectCustFormInq() = default;

void KORVA_SelectCustFormInq::buildControls()
{
    KORVA_CustSelect1 = new KORVA_CustSelect(this);
    KORVA_CustSelect1->setObjectName(QStringLiteral("KORVA_CustSelect1"));
    mFtcboDocType[0] = new KORVA_CodesCombo(this);
    mFtcboDocType[0]->setObjectName(QStringLiteral("mFtcboDocType(0)"));
    // Chosen from the list: a half-typed description would be judged at every keystroke.
    mFtcboDocType[0]->setEditable(false);
    mFtcboDocType[0]->setMinimumContentsLength(24);

    adoForms = new DataControl(this);
    mSdgGrid = new DataGrid(this);
    mSdgGrid->setObjectName(QStringLiteral("mSdgGrid"));
    mSdgGrid->setAccessibleName(tr("Customer forms"));
    mSdgGrid->addColumn(QStringLiteral("FORM_NUMBER"), tr("Form Number"));
    mSdgGrid->addColumn(QStringLiteral("CTTN_STTS_TXT"), tr("Status"));
    mSdgGrid->addColumn(QStringLiteral("ASSMT_DUE_AMT"), tr("Assessed"),
                        QStringLiteral("ASSMT_DUE_AMT"));
    mSdgGrid->addColumn(QStringLiteral("BAL_DUE"), tr("Balance Due"), QStringLiteral("BAL_DUE"));
    mSdgGrid->addColumn(QStringLiteral("LST_PYMT_DT"), tr("Last Payment"),
                        QStringLiteral("LST_PYMT_DT"));
    mSdgGrid->addColumn(QStringLiteral("STP_DT"), tr("Stop Date"), QStringLiteral("STP_DT"));
    for (const char *hidden : {"FORM_NBR", "FORM_CK_DGT_NBR", "CTTN_STTS_CD"})
        mSdgGrid->addColumn(QLatin1String(hidden), QLatin1String(hidden), QLatin1String(hidden),
                            false);
    mSdgGrid->setDataControl(adoForms);
    mSdgGrid->horizontalHeader()->setStretchLastSection(true);
    mSdgGrid->setCaption(tr("Forms"));

    mCmdButton[0] = new QPushButton(tr("Cancel"), this);
    mCmdButton[0]->setObjectName(QStringLiteral("mCmdButton(0)"));
    mCmdButton[1] = new QPushButton(tr("OK"), this);
    mCmdButton[1]->setObjectName(QStringLiteral("mCmdButton(1)"));
    mCmdButton[1]->setDefault(true);
    for (int i = 0; i < 2; ++i)
        connect(mCmdButton[i], &QPushButton::clicked, this, [this, i] { mCmdButton_Click(i); });

    // Layouts stand in for the resizer: the grid takes whatever room the dialog is given.
    auto *fields = new QFormLayout;
    fields->addRow(tr("Customer:"), KORVA_CustSelect1);
    fields->addRow(tr("Document Type:"), mFtcboDocType[0]);
    auto *buttons = new QDialogButtonBox(this);
    buttons->addButton(mCmdButton[1], QDialogButtonBox::AcceptRole);
    buttons->addButton(mCmdButton[0], QDialogButtonBox::RejectRole);
    // The buttons' own handlers decide; the box must not accept or reject on its own.
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(fields);
    layout->addWidget(mSdgGrid, 1);
    layout->addWidget(buttons);
    resize(760, 560);

    connect(mFtcboDocType[0], &KORVA_CodesCombo::Change, this,
            &KORVA_SelectCustFormInq::mFtcboDocType_Change);
    connect(KORVA_CustSelect1, &KORVA_CustSelect::SelectionChanged, this,
            &KORVA_SelectCustFormInq::KORVA_CustSelect1_SelectionChanged);
    connect(KORVA_CustSelect1, &KORVA_CustSelect::HasAlerts, this,
            &KORVA_SelectCustFormInq::KORVA_CustSelect1_HasAlerts);
    connect(mSdgGrid, &DataGrid::RowLoaded, this, &KORVA_SelectCustFormInq::mSdgDBGrid_RowLoaded);
}

void KORVA_SelectCustFormInq::Form_Load()
{
    // The combo fills while loading; its change events are the program's, not the user's.
    m_busy = true;
    guard(
        u"KORVA_SelectCustFormInq.Form_Load",
        [&] {
            mZelbMessage = new BrokerMessage(this);
            connect(mZelbMessage, &BrokerMessage::DataReady, this,
                    &KORVA_SelectCustFormInq::mZelbMessage_DataReady);
            connect(mZelbMessage, &BrokerMessage::MsgTimeout, this,
                    &KORVA_SelectCustFormInq::mZelbMessage_MsgTimeout);
            const UserContext *user = platform().user;
            MessageID = user->applicationPrefix() + QStringLiteral(".CustFormInq");

            const QString region = user->region().trimmed().toUpper();
            QString query = statusCodeQuery(region);
            query.replace(QStringLiteral("%Date%"), u'#' + codeListDate() + u'#');
            const RecordSetPtr codes = platform().codes->openQuery(query);
            if (codes) {
                const int code = codes->fieldIndex(u"CD_TBL_CD");
                const int description = codes->fieldIndex(u"CD_TBL_DES");
                if (code < 0 || description < 0)
                    raiseError(kErrRecordSet, tr("The status code list has no CD_TBL_CD or "
                                                 "CD_TBL_DES."));
                for (int r = 0; r < codes->count(); ++r)
                    m_statusTexts.insert(codes->textAt(r, code).trimmed(),
                                         codes->textAt(r, description));
            }

            mFtcboDocType[0]->fillFromCodeTable(QStringLiteral("REFDOCTYP"));
        },
        Quiet::Swallow, [&] { m_busy = false; });
}

void KORVA_SelectCustFormInq::Form_Unload()
{
    guard(u"KORVA_SelectCustFormInq.Form_Unload", [&] {
        // A reply that arrives after the dialog is gone finds no handler.
        if (mZelbMessage) {
            mZelbMessage->disconnect(this);
            mZelbMessage->release(MessageID);
        }
    });
}

void KORVA_SelectCustFormInq::setDocumentType(const QString &code)
{
    m_busy = true;
    guard(
        u"KORVA_SelectCustFormInq.setDocumentType",
        [&] { mFtcboDocType[0]->selectCode(code.trimmed()); }, Quiet::Swallow,
        [&] { m_busy = false; });
}

QString KORVA_SelectCustFormInq::DocumentNumber() const
{
    return m_documentNumber;
}

double KORVA_SelectCustFormInq::DueAmount() const
{
    return m_dueAmount;
}

QDate KORVA_SelectCustFormInq::LastPaymentDate() const
{
    return m_lastPaymentDate;
}

QString KORVA_SelectCustFormInq::Status() const
{
    return m_status;
}

QDate KORVA_SelectCustFormInq::StopDate() const
{
    return m_stopDate;
}

bool KORVA_SelectCustFormInq::isCancelled() const
{
    return m_cancelled;
}

void KORVA_SelectCustFormInq::reject()
{
    mCmdButton_Click(0);
}

void KORVA_SelectCustFormInq::mCmdButton_Click(int index)
{
    guard(u"KORVA_SelectCustFormInq.mCmdButton_Click", [&] {
        if (index == 0) {
            m_documentNumber.clear();
            m_cancelled = true;
            Form_Unload();
            QDialog::reject();
            return;
        }
        CheckEdit();
        if (!mErrorText.isEmpty()) {
            platform().messages->msgBox(QStringLiteral("Errors Found ... ") +
                                            QStringLiteral("\r\n") + mErrorText,
                                        MsgStyle::Critical, modMessageTitle::MessageTitle());
            return;
        }
        takeChosenRow();
        Form_Unload();
        accept();
    });
}

// Each value is taken only when its cell holds text; an empty cell leaves the property as
// it was.
void KORVA_SelectCustFormInq::takeChosenRow()
{
    const int row = mSdgGrid->currentRow();
    auto cell = [&](const char *column) {
        return mSdgGrid->text(row, QLatin1String(column)).trimmed();
    };
    if (const QString number = cell("FORM_NBR"); !number.isEmpty())
        m_documentNumber = formatFormNumber(number, cell("FORM_CK_DGT_NBR"));
    if (const QString due = cell("ASSMT_DUE_AMT"); !due.isEmpty())
        m_assessmentDue = due;
    if (const QString balance = cell("BAL_DUE"); !balance.isEmpty()) {
        // Unsettled what a balance that is no amount should give: refused as a type mismatch.
        if (!IsNumeric(balance))
            raiseError(kErrTypeMismatch,
                       QStringLiteral("Type mismatch: \"%1\" is not an amount.").arg(balance));
        m_dueAmount = std::round(numericValue(balance) * 10000.0) / 10000.0;
    }
    if (const QString paid = cell("LST_PYMT_DT"); !paid.isEmpty())
        m_lastPaymentDate = parseDateText(paid);
    if (const QString text = cell("CTTN_STTS_TXT"); !text.isEmpty())
        m_status = text;
    if (const QString stop = cell("STP_DT"); !stop.isEmpty())
        m_stopDate = parseDateText(stop);
}

void KORVA_SelectCustFormInq::mSdgDBGrid_RowLoaded(GridRow &row)
{
    guard(u"KORVA_SelectCustFormInq.mSdgDBGrid_RowLoaded", [&] {
        if (row.isEmpty())
            return;
        row.setText(QStringLiteral("FORM_NUMBER"),
                    formatFormNumber(row.text(QStringLiteral("FORM_NBR")),
                                     row.text(QStringLiteral("FORM_CK_DGT_NBR"))));
        row.setText(QStringLiteral("CTTN_STTS_TXT"),
                    m_statusTexts.value(row.text(QStringLiteral("CTTN_STTS_CD")).trimmed()));
    });
}

void KORVA_SelectCustFormInq::status(const QString &text)
{
    platform().status->StatusText(text);
    emit UpdateStatus(text);
}

} // namespace korva
