// The operations the shell calls, and the saving of a new assignment.
#include "assignmententrytab.h"
#include "korva_assignmaint.h"

#include "common/modassignmaint.h"
#include "platform/controls/datagrid.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QCoreApplication>
#include <QTabWidget>
#include <QThread>

namespace korva {

namespace {

const QString kSaveQuestion = QStringLiteral("Would you like to save this new assignment?");

int ask(const QString &prompt, int style)
{
    if (!platform().messages)
        raiseError(kComponentError, QStringLiteral("No message boxes are available."));
    return platform().messages->msgBox(prompt, style, modMessageTitle::MessageTitle());
}

int askYesNoCancel(const QString &prompt)
{
    return ask(prompt, MsgStyle::YesNoCancel + MsgStyle::Question);
}

// The sixteen columns handed to the dialogs, in the order they read them.
const char *const kParameterColumns[] = {
    "ASGNMT_NBR",      "ASSIGNMENT_TYPE",  "ASSIGNED_FROM", "ASSIGNED_TO",
    "ASGNMT_DT",       "EFCTV_DT",         "DUE_DT",        "ASGNMT_CMMT_TXT",
    "CITATION_NUMBER", "CITATION_TYPE",    "OFCR_FRM_ID",   "OFCR_TO_ID",
    "CLSE_DT",         "ASGNMT_SBJCT_TXT", "ASGNMT_TYP_CD", "FORM_TYP_CD",
};

} // namespace

bool KORVA_AssignMaint::DataChanged()
{
    bool changed = false;
    guard(u"KORVA_AssignMaint.DataChanged", [&] {
        status(QStringLiteral("Checking Document Data ..."));
        changed = entry->isChanged();
        status(QLatin1String(StatusTexts::Ready));
    });
    return changed;
}

void KORVA_AssignMaint::BeforeUnload()
{
    guard(u"KORVA_AssignMaint.BeforeUnload", [&] {
        ConfigureToolbar(true);
        if (platform().shell)
            platform().shell->leave(true);
        if (mZelbMessage) {
            // A reply that arrives from now on finds no handler.
            mZelbMessage->disconnect(this);
            mZelbMessage->deleteLater();
            mZelbMessage = nullptr;
        }
    });
}

bool KORVA_AssignMaint::SaveData()
{
    bool sent = false;
    guard(u"KORVA_AssignMaint.SaveData", [&] {
        entry->CheckEdits();
        if (!entry->errorText().isEmpty()) {
            ask(entry->errorText(), MsgStyle::Critical);
            return;
        }
        tabTab->setCurrentIndex(1);
        SaveNewAssignment();
        status(QStringLiteral("Saving Assignment ... "));
        m_flags.UpdatePending = true;
        m_flags.TimedOut = false;
        tabTab->setEnabled(false);
        sent = true;
    });
    return sent;
}

void KORVA_AssignMaint::SaveNewAssignment()
{
    // No handler of its own would hide a failed send from SaveData; the error is reported
    // here and the save then refused.
    const bool ok = guard(u"KORVA_AssignMaint.SaveNewAssignment", [&] {
        if (!mZelbMessage)
            raiseError(kComponentError, QStringLiteral("The document has been unloaded."));
        RecordSetPtr rows = entry->buildAssignmentRows();
        mZelbMessage->send(composeUpdate(MessageID, RequestKind::AssignmentUpdate,
                                         QStringLiteral("ASSIGNMENT"), rows));
    });
    if (!ok)
        raiseQuiet();
}

bool KORVA_AssignMaint::CloseDocument()
{
    bool result = false;
    guard(u"KORVA_AssignMaint.CloseDocument", [&] {
        if (!DataChanged()) {
            result = true;
        } else {
            tabTab->setCurrentIndex(1);
            const int answer = askYesNoCancel(kSaveQuestion);
            if (answer == MsgAnswer::Yes) {
                m_flags.ReplyReceived = false;
                m_flags.QueryFailed = false;
                if (!SaveData())
                    raiseQuiet();
                // The reply arrives as an event on this thread; the broker's time-out
                // ends the wait through a bad reply, so the loop needs no bound of its own.
                while (!m_flags.ReplyReceived) {
                    QCoreApplication::processEvents();
                    QThread::msleep(500);
                    QCoreApplication::processEvents();
                }
                result = !m_flags.QueryFailed;
            } else if (answer == MsgAnswer::No) {
                result = true;
            } else {
                raiseQuiet();
            }
        }
        ConfigureToolbar(true);
        if (platform().shell)
            platform().shell->leave(true);
    });
    return result;
}

bool KORVA_AssignMaint::NeedSave()
{
    bool result = false;
    guard(u"KORVA_AssignMaint.NeedSave", [&] {
        if (!DataChanged())
            return;
        const int answer = askYesNoCancel(QStringLiteral("Data has changed. Do you wish to save "
                                                         "the changes?"));
        if (answer == MsgAnswer::Yes) {
            SaveData();
            result = true;
        } else if (answer == MsgAnswer::No) {
            result = false;
        } else {
            if (platform().pointer)
                platform().pointer->setDefault();
            result = true;
        }
    });
    return result;
}

void KORVA_AssignMaint::FileNew()
{
    guard(u"KORVA_AssignMaint.FileNew", [&] {
        tabTab->setCurrentIndex(1);
        if (DataChanged()) {
            const int answer = askYesNoCancel(kSaveQuestion);
            if (answer == MsgAnswer::Yes) {
                if (!SaveData())
                    raiseQuiet();
            } else if (answer != MsgAnswer::No) {
                raiseQuiet();
            }
        }
        entry->ClearNewAssignment();
        status(QLatin1String(StatusTexts::Ready));
    });
}

void KORVA_AssignMaint::SaveAssignment()
{
    guard(
        u"KORVA_AssignMaint.SaveAssignment",
        [&] {
            if (!DataChanged())
                return;
            tabTab->setCurrentIndex(1);
            const int answer = askYesNoCancel(kSaveQuestion);
            if (answer == MsgAnswer::Yes) {
                if (!SaveData())
                    raiseQuiet();
            } else if (answer != MsgAnswer::No) {
                raiseQuiet();
            }
        },
        Quiet::Propagate);
}

void KORVA_AssignMaint::BeforeUnload_BackupForPersist()
{
    // Kept for the host contract: the document has no persisted state to back up.
}

QString KORVA_AssignMaint::AssembleParameters()
{
    QString parameters;
    guard(u"KORVA_AssignMaint.AssembleParameters", [&] {
        QStringList values;
        for (const char *column : kParameterColumns)
            values.append(grdAssignment->currentText(QLatin1String(column)));
        parameters = values.join(QLatin1Char('~'));
    });
    return parameters;
}

} // namespace korva
