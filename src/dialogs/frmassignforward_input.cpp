// The forward dialog while the user types: key filters, the paste watch, the troop/district
// and the date rules.
#include "dialogs/frmassignforward.h"

#include "common/modassignmaint.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/keycodes.h"
#include "platform/numbers.h"
#include "platform/platform.h"
#include "platform/textboxevents.h"

#include <QLineEdit>
#include <QPlainTextEdit>

namespace korva {

namespace {

constexpr int kCommentBox = 2;

void beep()
{
    platform().beeper->beep();
}

QDate plusDays(const QDate &day, qint16 count)
{
    return day.isValid() ? day.addDays(count) : day;
}

} // namespace

int frmAssignForward::textBoxIndex(const QObject *object) const
{
    for (int i = 0; i < int(txtBox.size()); ++i) {
        if (txtBox[i] == object)
            return i;
    }
    return txtComment && object == txtComment->viewport() ? kCommentBox : -1;
}

bool frmAssignForward::eventFilter(QObject *watched, QEvent *event)
{
    const int box = textBoxIndex(watched);
    // The comment is not watched for a paste: it keeps its own menu.
    if (box >= 0 &&
        raiseTextBoxEvent(*this, box, box == kCommentBox ? nullptr : txtBox[box], event, this))
        return true;
    return QDialog::eventFilter(watched, event);
}

void frmAssignForward::txtBox_MouseDown(int index, Qt::MouseButton button)
{
    guard(u"frmAssignForward.txtBox_MouseDown", [&] {
        if (button == Qt::RightButton && index != kCommentBox) {
            m_mousePaste = true;
            m_textBeforePaste = txtBox[index]->text();
        } else if (button == Qt::LeftButton || index == kCommentBox) {
            m_mousePaste = false;
            m_textBeforePaste.clear();
        }
    });
}

void frmAssignForward::txtBox_MouseUp(int)
{
    m_mousePaste = false;
    m_textBeforePaste.clear();
}

void frmAssignForward::txtBox_KeyDown(int index, int keyCode, int shift)
{
    if (index != kCommentBox && keyCode == KeyCode::Insert && shift == ShiftState::Shift) {
        m_keyPaste = true;
        m_textBeforePaste = txtBox[index]->text();
    }
}

void frmAssignForward::txtBox_KeyUp(int)
{
    m_keyPaste = false;
    m_textBeforePaste.clear();
}

bool frmAssignForward::txtBox_KeyPress(int index, int &keyAscii)
{
    bool accepted = true;
    guard(u"frmAssignForward.txtBox_KeyPress", [&] {
        KeyFilters &keys = *platform().keys;
        if (index == 0) {
            accepted = keys.FilterOfficerKey(keyAscii);
        } else if (index == 1) {
            accepted = keys.FilterTroopKey(keyAscii);
            // Troops and districts are upper case, whatever the user types.
            if (accepted && keyAscii >= 97 && keyAscii <= 122)
                keyAscii -= 32;
        }
        if (!accepted)
            beep();
    });
    return accepted;
}

void frmAssignForward::txtBox_Change(int index)
{
    guard(u"frmAssignForward.txtBox_Change", [&] {
        if (m_mousePaste || m_keyPaste) {
            const QString pasted = txtBox[index]->text();
            const bool refused =
                pasted.contains(u'.') || pasted.contains(u'$') || !IsNumeric(pasted);
            // Cleared before the old text goes back, so that putting it back is no paste.
            m_mousePaste = false;
            m_keyPaste = false;
            if (refused) {
                beep();
                txtBox[index]->setText(m_textBeforePaste);
                return;
            }
        }
        if (index == 1) {
            SplitTroopDistrict();
            CheckTroopAndDistrict();
        }
    });
}

void frmAssignForward::txtBox_LostFocus(int index)
{
    guard(u"frmAssignForward.txtBox_LostFocus", [&] {
        FieldMarks &marks = *platform().marks;
        const QString text = txtBox[index]->text().trimmed();
        if (index == 0) {
            // An officer number that names nobody is marked; an empty box stays as it is,
            // since a list of officers may stand in its place.
            if (text.isEmpty())
                return;
            const bool known =
                IsNumeric(text) && platform().validators->LookupOfficer(toInteger32(text));
            if (known)
                marks.ClearFieldError(txtBox[0]);
            else
                marks.MarkFieldError(txtBox[0], QLatin1String(ForwardTexts::Officer));
        } else if (index == 1) {
            if (text.isEmpty())
                marks.MarkFieldError(txtBox[1], QLatin1String(ForwardTexts::Troop));
            else
                CheckTroopAndDistrict();
        }
    });
}

void frmAssignForward::SplitTroopDistrict()
{
    guard(u"frmAssignForward.SplitTroopDistrict", [&] {
        const QString text = txtBox[1]->text().trimmed();
        Troop = text.left(1);
        District = text.size() >= 2 ? text.mid(1) : QString();
    });
}

bool frmAssignForward::CheckTroopAndDistrict()
{
    bool valid = false;
    guard(u"frmAssignForward.CheckTroopAndDistrict", [&] {
        SplitTroopDistrict();
        const Validators &validators = *platform().validators;
        if (!District.trimmed().isEmpty())
            valid = validators.ValidateTroopDistrict(Troop, District);
        else if (!Troop.trimmed().isEmpty())
            valid = validators.ValidateTroop(Troop);
        if (valid)
            platform().marks->ClearFieldError(txtBox[1]);
        else
            platform().marks->MarkFieldError(txtBox[1], QLatin1String(ForwardTexts::Troop));
    });
    return valid;
}

void frmAssignForward::CheckDates(int index)
{
    guard(u"KORVA_AssignMaint.CheckDates", [&] {
        // All three are read before any is corrected: the rules work from the dates as the
        // user left them, which is why the expiration follows the earlier due date.
        const QDate effective = dtpFTDate[0]->date();
        const QDate due = dtpFTDate[1]->date();
        const QDate expiration = dtpFTDate[2]->date();
        // The day counts of the type the document looked up last, not the offsets this
        // dialog was handed: both copies of the rule must move the dates alike.
        const modAssignMaint::TypeDayCounts &counts = modAssignMaint::componentDayCounts();
        auto gap = [&counts] {
            return toInteger16(double(counts.ExpirationDayCount) - counts.DueDayCount);
        };
        switch (index) {
        case 0:
            if (effective < today())
                dtpFTDate[0]->setValue(today());
            dtpFTDate[1]->setValue(plusDays(effective, counts.DueDayCount));
            dtpFTDate[2]->setValue(plusDays(due, gap()));
            break;
        case 1:
            if (due < effective)
                dtpFTDate[1]->setValue(effective);
            dtpFTDate[2]->setValue(plusDays(due, gap()));
            break;
        case 2:
            if (expiration < due)
                dtpFTDate[2]->setValue(due);
            break;
        default:
            break;
        }
    });
}

QDate frmAssignForward::today() const
{
    return platform().clock->today();
}

} // namespace korva
