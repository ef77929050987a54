// Reply to, close or reopen an assignment: one comment, one "ASSIGNMENT" update.
#include "frmassignroc.h"

#include "assignmentinfo.h"

#include "common/conventions.h"
#include "common/modassignmaint.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace korva {

namespace {} // namespace

frmAssignROC::frmAssignROC(QWidget *parent)
    : QDialog(parent)
{
    buildControls();
    Form_Load();
}

void frmAssignROC::buildControls()
{
    setObjectName(QStringLiteral("frmAssignROC"));
    setWindowTitle(QStringLiteral("Reply to Sender"));
    setModal(true);

    info = new AssignmentInfoFrame(this);
    info->setObjectName(QStringLiteral("fraFrame(0)"));
    fraFrame0 = info;

    fraFrame1 = new QGroupBox(QStringLiteral("Reply Comment"), this);
    fraFrame1->setObjectName(QStringLiteral("fraFrame(1)"));
    txtBox = new QPlainTextEdit(fraFrame1);
    txtBox->setObjectName(QStringLiteral("txtBox"));
    txtBox->setTabChangesFocus(true);
    auto *commentLayout = new QVBoxLayout(fraFrame1);
    commentLayout->addWidget(txtBox);

    const char *captions[] = {"Save", "Close"};
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    for (int i = 0; i < int(cmdButton.size()); ++i) {
        cmdButton[i] = new QPushButton(QLatin1String(captions[i]), this);
        cmdButton[i]->setObjectName(QStringLiteral("cmdButton(%1)").arg(i));
        cmdButton[i]->setAutoDefault(false);
        connect(cmdButton[i], &QPushButton::clicked, this, [this, i] { cmdButton_Click(i); });
        buttons->addWidget(cmdButton[i]);
    }

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(info);
    layout->addWidget(fraFrame1, 1);
    layout->addLayout(buttons);
    resize(560, 480);
}

void frmAssignROC::Form_Load()
{
    guard(u"frmAssignROC.Form_Load", [&] {
        if (!mZelbMessage) {
            mZelbMessage = new BrokerMessage(this);
            connect(mZelbMessage, &BrokerMessage::DataReady, this,
                    &frmAssignROC::mZelbMessage_DataReady);
            connect(mZelbMessage, &BrokerMessage::MsgTimeout, this,
                    &frmAssignROC::mZelbMessage_MsgTimeout);
        }
        m_formIdentity = QStringLiteral("KORVA_AssignMaint.frmAssignROC");
    });
}

void frmAssignROC::InitializeSettings(const QString &mode)
{
    guard(u"frmAssignROC.InitializeSettings", [&] {
        m_mode = mode.trimmed().toUpper();
        if (m_mode == u"REPLY") {
            setWindowTitle(QStringLiteral("Reply to Sender"));
            fraFrame1->setTitle(QStringLiteral("Reply Comment:"));
        } else if (m_mode == u"CLOSE") {
            setWindowTitle(QStringLiteral("Close Assignment"));
            fraFrame1->setTitle(QStringLiteral("Close Comment:"));
        } else if (m_mode == u"OPEN") {
            setWindowTitle(QStringLiteral("Reopen Assignment"));
            fraFrame1->setTitle(QStringLiteral("Reopen Comment:"));
        }
    });
}

void frmAssignROC::PassParameters(const QString &parameters)
{
    // Reported under the forward dialog's name: the text is kept as it has always been.
    guard(u"frmAssignForward.PassParameters", [&] {
        const QStringList pieces = parameters.split(u'~');
        m_assignmentNumber = parameterPiece(pieces, 0);
        info->fillFromParameters(pieces);
        m_senderId = parameterPiece(pieces, 10);
        m_addresseeId = parameterPiece(pieces, 11);
    });
}

void frmAssignROC::Button(const QString &text)
{
    // Published for callers that set it; it has never done anything.
    Q_UNUSED(text)
}

void frmAssignROC::cmdButton_Click(int index)
{
    guard(u"frmAssignROC.cmdButton_Click", [&] {
        switch (index) {
        case 0:
            SaveData();
            break;
        case 1:
            emit SendCancel();
            hide();
            break;
        default:
            break;
        }
    });
}

void frmAssignROC::reject()
{
    // The window's own close and Escape leave as the Close button does, so the caller
    // always hears SendCancel.
    cmdButton_Click(1);
}

void frmAssignROC::SaveData()
{
    guard(u"frmAssignROC.SaveData", [&] {
        auto rows = RecordSet::create(QStringLiteral("ASSIGNMENT"));
        rows->addNew();
        rows->setValue(u"ACTION", QStringLiteral("UPD"));
        rows->setValue(u"ASGNMT_NBR", m_assignmentNumber);
        rows->setValue(u"ASGNMT_CMMT_TXT", txtBox->toPlainText());
        if (m_mode == u"REPLY") {
            // A reply goes back to whoever sent the assignment, from whoever received it.
            rows->setValue(u"OFCR_FRM_ID", m_addresseeId);
            rows->setValue(u"OFCR_TO_ID", m_senderId);
        } else {
            rows->setValue(u"ASGNMT_STTS_CD", m_mode.left(1).toUpper());
        }
        // A close carries no notify indicator; the asymmetry is deliberate and kept.
        if (m_mode == u"OPEN" || m_mode == u"REPLY")
            rows->setValue(u"NTFY_IND", QStringLiteral("N"));
        rows->update();

        const BrokerRequest request = composeUpdate(m_formIdentity, RequestKind::AssignmentUpdate,
                                                    QStringLiteral("ASSIGNMENT"), rows);
        m_messageId = mZelbMessage->send(request);
        m_timedOut = false;
        platform().status->StatusText(QStringLiteral("Saving Reply Of Assignment ... "));
    });
}

void frmAssignROC::mZelbMessage_DataReady(const QString &identity)
{
    guard(u"frmAssignROC.mZelbMessage_DataReady", [&] {
        if (normalisedIdentity(identity) != normalisedIdentity(m_formIdentity))
            raiseQuiet();
        platform().pointer->setBusy();
        const QString source = QStringLiteral("frmAssignROC.mZelbMessage_DataReady");
        // The pending request's own reply when it is at hand, else the latest for this form.
        const BrokerReply *pending = mZelbMessage->replyByTag(m_messageId);
        const QString error =
            pending ? pending->error : ReplyCheck(m_formIdentity, source, *mZelbMessage);
        if (!m_timedOut)
            updateAnswered(m_formIdentity); // a timed-out save keeps its key for Save again
        if (!error.isEmpty()) {
            platform().messages->msgBox(error, MsgStyle::Critical, modMessageTitle::MessageTitle());
            if (m_timedOut)
                platform().status->StatusText(QLatin1String(StatusTexts::QueryTimedOut));
            raiseQuiet();
        }
        platform().status->StatusText(QLatin1String(StatusTexts::Ready));
        hide();
        emit SendOK();
    });
}

void frmAssignROC::mZelbMessage_MsgTimeout(const QString &identity)
{
    guard(u"frmAssignROC.mZelbMessage_MsgTimeout", [&] {
        Q_UNUSED(identity)
        m_timedOut = true;
    });
}

} // namespace korva
