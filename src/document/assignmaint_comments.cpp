// The comment commands of the new-assignment tab: copy, paste and spell check.
#include "assignmententrytab.h"
#include "korva_assignmaint.h"

#include "common/modassignmaint.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QPlainTextEdit>
#include <QTextCursor>

namespace korva {

namespace {

// The longest comment the server stores for an assignment (ASGNMT_CMMT_TXT).
constexpr int kCommentMaxLength = 2000;

void inform(const QString &prompt, int style = MsgStyle::Information)
{
    platform().messages->msgBox(prompt, style, modMessageTitle::MessageTitle());
}

void setComment(QPlainTextEdit *box, const QString &text)
{
    box->setPlainText(text);
    box->moveCursor(QTextCursor::End);
}

} // namespace

void KORVA_AssignMaint::ProcessCmdCopyComments()
{
    guard(u"KORVA_AssignMaint.ProcessCmdCopyComments", [&] {
        const QString comment = entry->txtComment->toPlainText();
        if (comment.trimmed().isEmpty()) {
            inform(QStringLiteral("No comments available to copy."));
            return;
        }
        platform().clipboard->clear();
        platform().clipboard->setText(comment);
    });
}

void KORVA_AssignMaint::ProcessCmdPasteComments()
{
    guard(u"KORVA_AssignMaint.ProcessCmdPasteComments", [&] {
        const QString pasted = platform().clipboard->text().trimmed();
        if (pasted.isEmpty()) {
            inform(QStringLiteral("No comments available to paste."));
            return;
        }
        // Pasted text goes on a line of its own below what is there; what passes the stored
        // length is cut off, with a beep, rather than refused by the server at the save.
        const QString current = entry->txtComment->toPlainText();
        QString joined = current.isEmpty() ? pasted : current + u'\n' + pasted;
        if (joined.size() >= kCommentMaxLength) {
            joined.truncate(kCommentMaxLength);
            platform().beeper->beep();
        }
        setComment(entry->txtComment, joined);
    });
}

void KORVA_AssignMaint::ProcessCmdSpellCheck()
{
    guard(u"KORVA_AssignMaint.ProcessCmdSpellCheck", [&] {
        QString why;
        std::unique_ptr<SpellCheckObject> dictionary =
            platform().spelling->CreateObject(QStringLiteral("TAVROUtilities.Dictionary"), &why);
        if (!dictionary) {
            if (why.trimmed().isEmpty())
                why = QStringLiteral("The spell checker is not available on this computer.");
            inform(why, MsgStyle::Exclamation);
            return;
        }
        // A failing check is reported under this procedure and leaves the comment untouched.
        const QString comment = entry->txtComment->toPlainText();
        const QString checked = dictionary->CheckSpelling(comment);
        if (checked != comment)
            setComment(entry->txtComment, checked);
        inform(QStringLiteral("The Spell Check is complete."));
    });
}

} // namespace korva
