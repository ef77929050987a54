// The forward dialog's check of the target, its "ASSIGNMENT" request and the reply to it.
#include "dialogs/frmassignforward.h"

#include "common/conventions.h"
#include "common/modassignmaint.h"
#include "platform/broker.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>

#include "dialogs/assignmentinfo.h"

namespace korva {

namespace {} // namespace

bool frmAssignForward::CheckEdits()
{
    bool valid = false;
    guard(u"frmAssignForward.CheckEdits", [&] {
        FieldMarks &marks = *platform().marks;
        marks.ClearFieldError(txtBox[0]);
        marks.ClearFieldError(cboFTBox0);
        marks.ClearFieldError(txtBox[1]);
        QString message;
        if (optButton[0]->isChecked()) {
            const RecordSetPtr &officers = adoOfficers->recordSet();
            const bool listed = officers && officers->count() > 0;
            if (!listed && txtBox[0]->text().trimmed().isEmpty()) {
                message = QLatin1String(ForwardTexts::Officer);
                marks.MarkFieldError(txtBox[0], message);
            }
        } else if (optButton[1]->isChecked()) {
            if (cboFTBox0->code().trimmed().isEmpty()) {
                message = QLatin1String(ForwardTexts::Agency);
                marks.MarkFieldError(cboFTBox0, message);
            }
        } else if (optButton[2]->isChecked()) {
            SplitTroopDistrict();
            if (Troop.isEmpty()) {
                message = QLatin1String(ForwardTexts::Troop);
                marks.MarkFieldError(txtBox[1], message);
            }
        }
        if (!message.isEmpty()) {
            platform().messages->msgBox(message, MsgStyle::Critical,
                                        modMessageTitle::MessageTitle());
            return;
        }
        valid = true;
    });
    return valid;
}

void frmAssignForward::SaveDataForward()
{
    using modAssignMaint::DB2Date;
    guard(u"frmAssignForward.SaveDataForward", [&] {
        const QString sender = QString::number(platform().user->officerId());
        RecordSetPtr officers;
        if (optButton[0]->isChecked())
            officers = adoOfficers->recordSet();
        const bool officerMode = officers && officers->count() > 0;

        auto rows = RecordSet::create(QStringLiteral("ASSIGNMENT"));
        const QString effective = DB2Date(dtpFTDate[0]->date());
        const QString due = DB2Date(dtpFTDate[1]->date());
        const QString expiration = DB2Date(dtpFTDate[2]->date());
        const QString comment = txtComment->toPlainText();

        // The fields every row carries, in the order they are sent.
        auto startRow = [&](const QString &action) {
            rows->addNew();
            rows->setValue(u"ACTION", action);
            rows->setValue(u"ASGNMT_NBR", m_assignmentNumber);
            rows->setValue(u"ASGNMT_CMMT_TXT", comment);
            rows->setValue(u"EFCTV_DT", effective);
            rows->setValue(u"DUE_DT", due);
            rows->setValue(u"EXPRTN_DT", expiration);
            rows->setValue(u"OFCR_FRM_ID", sender); // the forwarder becomes the sender
        };

        if (officerMode) {
            // The first officer takes the assignment itself; every further one gets a copy,
            // which needs what the original row already holds.
            bool first = true;
            for (officers->moveFirst(); !officers->isEOF(); officers->moveNext()) {
                startRow(first ? QStringLiteral("UPD") : QStringLiteral("ADD"));
                rows->setValue(u"OFCR_TO_ID", officers->text(u"INSP_ID").trimmed());
                rows->setValue(u"NTFY_IND", QStringLiteral("N"));
                if (!first) {
                    rows->setValue(u"ASGNMT_SBJCT_TXT", fraFrame0->lblLabel[24]->text());
                    rows->setValue(u"ASGNMT_TYP_CD", m_typeCode);
                    rows->setValue(u"FORM_NBR", fraFrame0->lblLabel[7]->text());
                    rows->setValue(u"FORM_TYP_CD", m_formTypeCode);
                }
                rows->update();
                first = false;
            }
        } else {
            startRow(QStringLiteral("UPD"));
            rows->setValue(u"NTFY_IND", QStringLiteral("N"));
            if (optButton[0]->isChecked()) {
                rows->setValue(u"OFCR_TO_ID", txtBox[0]->text().trimmed());
            } else if (optButton[1]->isChecked()) {
                rows->setValue(u"AGNCY_CD", cboFTBox0->code());
            } else if (optButton[2]->isChecked()) {
                SplitTroopDistrict();
                rows->setValue(u"TRP_ID", Troop);
                if (!District.trimmed().isEmpty())
                    rows->setValue(u"TRP_DIST_ID", District);
            }
            rows->update();
        }

        const BrokerRequest request = composeUpdate(m_formIdentity, RequestKind::AssignmentUpdate,
                                                    QStringLiteral("ASSIGNMENT"), rows);
        m_messageId = request.readBack();
        mZelbMessage->send(request);
        platform().pointer->setBusy();
        m_timedOut = false;
        platform().status->StatusText(QStringLiteral("Saving Forward Of Assignment ... "));
    });
}

void frmAssignForward::mZelbMessage_DataReady(const QString &identity)
{
    guard(
        u"frmAssignForward.mZelbMessage_DataReady",
        [&] {
            requireOwnReply(identity, m_formIdentity);
            platform().pointer->setBusy();
            const QString error = ReplyCheck(
                m_formIdentity, QStringLiteral("frmAssignForward.mZelbMessage_DataReady"),
                *mZelbMessage);
            // Past a time-out the forward may have been applied: its key is kept for a
            // Save again; any answer of the server's own frees it.
            if (!m_timedOut)
                updateAnswered(m_formIdentity);
            if (!error.isEmpty()) {
                platform().messages->msgBox(error, MsgStyle::Critical,
                                            modMessageTitle::MessageTitle());
                if (m_timedOut)
                    platform().status->StatusText(QLatin1String(StatusTexts::QueryTimedOut));
                raiseQuiet();
            }
            platform().status->StatusText(QLatin1String(StatusTexts::Ready));
            hide();
            emit SendOK();
        },
        Quiet::Swallow,
        [&] {
            if (isOwnReply(identity, m_formIdentity))
                mZelbMessage->release(identity);
        });
}

void frmAssignForward::mZelbMessage_MsgTimeout(const QString &)
{
    m_timedOut = true;
}

} // namespace korva
