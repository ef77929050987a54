// The operations the shell calls, and the saving of a new assignment.
#include "assignmententrytab.h"
#include "assignmentlisttab.h"
#include "korva_assignmaint.h"

#include "common/modassignmaint.h"
#include "platform/controls/datagrid.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QCoreApplication>
#include <QTabWidget>

namespace korva {

namespace {

const QString kSaveQuestion = QStringLiteral("Would you like to save this new assignment?");

int ask(const QString &prompt, int style)
{
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
        platform().status->StatusText(QStringLiteral("Checking Document Data ..."));
        changed = entry->isChanged();
        platform().status->StatusText(QLatin1String(StatusTexts::Ready));
    });
    return changed;
}

void KORVA_AssignMaint::BeforeUnload()
{
    guard(u"KORVA_AssignMaint.BeforeUnload", [&] {
        ConfigureToolbar(true);
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
        platform().status->StatusText(QStringLiteral("Saving Assignment ... "));
        m_flags.UpdatePending = true;
        m_flags.TimedOut = false;
        tabTab->setEnabled(false);
        sent = true;
    });
    return sent;
}

void KORVA_AssignMaint::SaveNewAssignment()
{
    // A failure is reported here and then refuses the save: SaveData answers False, so
    // CloseDocument never waits for the reply to an update that was not sent.
    const bool ok = guard(u"KORVA_AssignMaint.SaveNewAssignment", [&] {
        if (!mZelbMessage)
            raiseError(kComponentError, QStringLiteral("The document has been unloaded."));
        RecordSetPtr rows = entry->buildAssignmentRows();
        const BrokerRequest request = composeUpdate(MessageID, RequestKind::AssignmentUpdate,
                                                    QStringLiteral("ASSIGNMENT"), rows);
        m_readBack = request.readBack();
        mZelbMessage->send(request);
    });
    if (!ok)
        raiseQuiet();
}

bool KORVA_AssignMaint::CloseDocument()
{
    bool result = false;
    guard(u"KORVA_AssignMaint.CloseDocument", [&] {
        bool closes = true;
        if (askToSave()) {
            // The reply arrives as an event on this thread; the broker's time-out
            // ends the wait through a bad reply, so the loop needs no bound of its own.
            while (!m_flags.ReplyReceived) {
                QCoreApplication::processEvents();
                platform().clock->pause(500);
                QCoreApplication::processEvents();
            }
            closes = !m_flags.QueryFailed;
        }
        ConfigureToolbar(true);
        platform().shell->leave(true);
        result = closes;
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
        askToSave();
        entry->ClearNewAssignment();
        platform().status->StatusText(QLatin1String(StatusTexts::Ready));
    });
}

void KORVA_AssignMaint::SaveAssignment()
{
    guard(
        u"KORVA_AssignMaint.SaveAssignment", [&] { askToSave(); }, Quiet::Propagate);
}

// The question of SaveAssignment, which the unload and new-document paths ask as well; they
// run it inside their own procedures so that a failure in it is theirs to report and stops
// them. A Cancel, or a save that is refused, leaves by the quiet error.
bool KORVA_AssignMaint::askToSave()
{
    if (!DataChanged())
        return false;
    tabTab->setCurrentIndex(1);
    const int answer = askYesNoCancel(kSaveQuestion);
    if (answer == MsgAnswer::No)
        return false;
    if (answer != MsgAnswer::Yes)
        raiseQuiet();
    // Read only by CloseDocument's wait; reset after the answer, since a reply may arrive
    // while the question is open, so that the wait sees this save's reply alone.
    m_flags.ReplyReceived = false;
    m_flags.QueryFailed = false;
    if (!SaveData())
        raiseQuiet();
    return true;
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
            values.append(listTab->grid()->currentText(QLatin1String(column)));
        parameters = values.join(QLatin1Char('~'));
    });
    return parameters;
}

} // namespace korva
