// The forward dialog while the user types: key filters, the paste watch, the troop/district
// and the date rules.
#include "dialogs/frmassignforward.h"

#include "common/modassignmaint.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/keycodes.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QContextMenuEvent>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPlainTextEdit>

namespace korva {

namespace {

constexpr int kCommentBox = 2;

void beep()
{
    if (platform().beeper)
        platform().beeper->beep();
}

// The character a key press types, as its code; 0 for keys that type nothing. Shortcuts
// (Ctrl+V and the like) and control characters other than backspace are not typing.
int typedCharacter(const QKeyEvent *key)
{
    if (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return 0;
    const QString text = key->text();
    if (text.size() != 1)
        return 0;
    const int code = text.at(0).unicode();
    return code == 8 || (code >= 32 && code != 127) ? code : 0;
}

// Focus that goes to a popup (a context menu) or another window has not left the box.
bool leftTheBox(const QEvent *event)
{
    const Qt::FocusReason reason = static_cast<const QFocusEvent *>(event)->reason();
    return reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason;
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
    if (box < 0)
        return QDialog::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        txtBox_MouseDown(box, static_cast<QMouseEvent *>(event)->button());
        break;
    case QEvent::MouseButtonRelease:
        txtBox_MouseUp(box);
        break;
    case QEvent::KeyPress: {
        auto *key = static_cast<QKeyEvent *>(event);
        const KeyStroke stroke = keyStroke(key);
        txtBox_KeyDown(box, stroke.keyCode, stroke.shift);
        int code = typedCharacter(key);
        if (code == 0)
            break;
        const int typed = code;
        if (!txtBox_KeyPress(box, code))
            return true;
        if (code != typed) {
            txtBox[box]->insert(QString(QChar(code)));
            return true;
        }
        break;
    }
    case QEvent::KeyRelease:
        txtBox_KeyUp(box);
        break;
    case QEvent::FocusOut:
        if (leftTheBox(event))
            txtBox_LostFocus(box);
        break;
    case QEvent::ContextMenu: {
        if (box == kCommentBox)
            break;
        // The right button's release goes to the menu, not the box: the mouse-up that ends
        // a right-button paste is taken from the menu's end, after any paste chosen in it.
        QMenu *menu = txtBox[box]->createStandardContextMenu();
        menu->setAttribute(Qt::WA_DeleteOnClose);
        connect(menu, &QMenu::aboutToHide, this, [this, box] {
            QMetaObject::invokeMethod(
                this, [this, box] { txtBox_MouseUp(box); }, Qt::QueuedConnection);
        });
        menu->popup(static_cast<QContextMenuEvent *>(event)->globalPos());
        return true;
    }
    default:
        break;
    }
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
                marks.MarkFieldError(txtBox[0]);
        } else if (index == 1) {
            if (text.isEmpty())
                marks.MarkFieldError(txtBox[1]);
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
            platform().marks->MarkFieldError(txtBox[1]);
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
    return platform().clock ? platform().clock->today() : QDate::currentDate();
}

} // namespace korva
