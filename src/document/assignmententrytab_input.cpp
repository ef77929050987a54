// Typing into the text boxes: the paste guard, the key filters and the completion of a
// citation number when the user leaves the account number.
#include "assignmententrytab.h"

#include "platform/checkdigit.h"
#include "platform/controls/codescombo.h"
#include "platform/errors.h"
#include "platform/keycodes.h"
#include "platform/numbers.h"
#include "platform/platform.h"
#include "platform/textboxevents.h"

#include <QLineEdit>
#include <QPlainTextEdit>

namespace korva {

namespace {

void beep()
{
    platform().beeper->beep();
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
    // The comment is not guarded against a paste: it keeps its own menu.
    if (box >= 0 && raiseTextBoxEvent(*this, box, box == 3 ? nullptr : txtBox[box], event, this))
        return true;
    const int combo = comboIndex(watched);
    if (combo >= 0 && event->type() == QEvent::FocusOut && leftTheControl(event)) {
        cboFTBox_Validate(combo);
        cboFTBox_LostFocus(combo);
    }
    return QWidget::eventFilter(watched, event);
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
                    platform().marks->MarkFieldError(txtBox[1],
                                                     QStringLiteral("Invalid officer number."));
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
