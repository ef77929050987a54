// Typing into the text boxes: the paste guard, the key filters and the completion of a
// citation number when the user leaves the account number.
#include "assignmententrytab.h"

#include "platform/checkdigit.h"
#include "platform/controls/codescombo.h"
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

void beep()
{
    if (platform().beeper)
        platform().beeper->beep();
}

// Focus that goes to a popup (a context menu, a combo's list) or another window has not
// left the control.
bool leftTheControl(const QEvent *event)
{
    const Qt::FocusReason reason = static_cast<const QFocusEvent *>(event)->reason();
    return reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason;
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

} // namespace

int AssignmentEntryTab::textBoxIndex(const QObject *object) const
{
    for (int i = 0; i < int(txtBox.size()); ++i) {
        if (txtBox[i] && txtBox[i] == object)
            return i;
    }
    // The comment box takes its mouse through its viewport.
    if (txtComment && (object == txtComment || object == txtComment->viewport()))
        return 3;
    return -1;
}

int AssignmentEntryTab::comboIndex(const QObject *object) const
{
    for (int i = 0; i < int(cboFTBox.size()); ++i) {
        if (cboFTBox[i] && cboFTBox[i] == object)
            return i;
    }
    return -1;
}

bool AssignmentEntryTab::eventFilter(QObject *watched, QEvent *event)
{
    const int box = textBoxIndex(watched);
    if (box >= 0) {
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
            if (leftTheControl(event))
                txtBox_LostFocus(box);
            break;
        case QEvent::ContextMenu:
            if (box == 3)
                break; // the comment is not guarded: its own menu serves
            showContextMenu(box, static_cast<QContextMenuEvent *>(event)->globalPos());
            return true;
        default:
            break;
        }
    }
    const int combo = comboIndex(watched);
    if (combo >= 0 && event->type() == QEvent::FocusOut && leftTheControl(event)) {
        cboFTBox_Validate(combo);
        cboFTBox_LostFocus(combo);
    }
    return QWidget::eventFilter(watched, event);
}

// The box's own menu, but the release of the right button goes to the menu, not the box:
// the mouse-up that ends a right-button paste is taken from the menu's end instead, after
// any paste chosen in it.
void AssignmentEntryTab::showContextMenu(int index, const QPoint &globalPos)
{
    QMenu *menu = txtBox[index]->createStandardContextMenu();
    menu->setAttribute(Qt::WA_DeleteOnClose);
    connect(menu, &QObject::destroyed, this, [this, index] { txtBox_MouseUp(index); });
    menu->popup(globalPos);
}

void AssignmentEntryTab::txtBox_MouseDown(int index, Qt::MouseButton button)
{
    if (button == Qt::LeftButton || index == 3) {
        m_mousePaste = false;
        m_textBeforePaste.clear();
    } else if (button == Qt::RightButton) {
        m_mousePaste = true;
        m_textBeforePaste = boxText(index);
    }
}

void AssignmentEntryTab::txtBox_MouseUp(int)
{
    m_mousePaste = false;
}

void AssignmentEntryTab::txtBox_KeyDown(int index, int keyCode, int shift)
{
    if (keyCode == KeyCode::Insert && shift == ShiftState::Shift) {
        m_keyPaste = true;
        m_textBeforePaste = boxText(index);
    }
}

void AssignmentEntryTab::txtBox_KeyUp(int)
{
    m_keyPaste = false;
    m_textBeforePaste.clear();
}

bool AssignmentEntryTab::txtBox_KeyPress(int index, int &keyAscii)
{
    bool accepted = true;
    guard(u"KORVA_AssignMaint.txtBox_KeyPress", [&] {
        KeyFilters &keys = *platform().keys;
        switch (index) {
        case 0:
            accepted = keys.FilterAccountKey(cboFTBox[1]->code(), txtBox[0]->text(), keyAscii);
            break;
        case 1:
            accepted = keys.FilterOfficerKey(keyAscii);
            break;
        case 2:
            accepted = keys.FilterTroopKey(keyAscii);
            // Troops and districts are upper case, whatever the user types.
            if (accepted && keyAscii >= 97 && keyAscii <= 122)
                keyAscii -= 32;
            break;
        default:
            break;
        }
        if (!accepted)
            beep();
    });
    return accepted;
}

void AssignmentEntryTab::txtBox_Change(int index)
{
    guard(u"KORVA_AssignMaint.txtBox_Change", [&] {
        if (index != 3 && (m_mousePaste || m_keyPaste)) {
            const QString pasted = boxText(index);
            bool refused = false;
            if (index == 0) {
                refused = !platform()
                               .validators->ValidateAccountNumber(cboFTBox[1]->code(), pasted)
                               .valid;
            } else if (index == 1) {
                refused = pasted.contains(u'.') || pasted.contains(u'$') || !IsNumeric(pasted);
            }
            // Cleared before the old text goes back, so that putting it back is no paste.
            m_mousePaste = false;
            m_keyPaste = false;
            if (refused) {
                beep();
                txtBox[index]->setText(m_textBeforePaste);
            }
        }
        CheckEdits();
    });
}

void AssignmentEntryTab::txtBox_LostFocus(int index)
{
    guard(u"KORVA_AssignMaint.txtBox_LostFocus", [&] {
        if (index == 0) {
            const QString number = txtBox[0]->text().trimmed();
            if (!number.isEmpty() && !number.contains(u'-') && number.size() <= 7 &&
                IsNumeric(number)) {
                const QString padded = number.rightJustified(7, u'0');
                // A numeric text that is not all digits ("4.2", "+42") has no check digit: the
                // lookup refuses it and the box keeps what was typed.
                const int check = CitationCheckDigit(padded);
                // Seven digits already, so the "0000000" form of the number is the text itself.
                txtBox[0]->setText(padded + u'-' + QString::number(check));
            }
        } else if (index == 1) {
            platform().marks->ClearFieldError(txtBox[1]);
            const QString officer = txtBox[1]->text().trimmed();
            if (IsNumeric(officer)) {
                const qint32 id = toInteger32(officer);
                if (platform().validators->LookupOfficer(id)) {
                    m_officerTag = QString::number(id);
                } else {
                    m_officerTag.clear();
                    platform().marks->MarkFieldError(txtBox[1]);
                }
            }
        } else {
            return;
        }
        CheckEdits();
    });
}

QString AssignmentEntryTab::boxText(int index) const
{
    if (index == 3)
        return QString();
    return txtBox[index] ? txtBox[index]->text() : QString();
}

} // namespace korva
