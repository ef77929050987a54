// Validation of the new-assignment entry, its changed test and its clearing.
#include "assignmententrytab.h"

#include "platform/controls/codescombo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QTextDocument>

namespace korva {

namespace {

constexpr QStringView kCrLf = u"\r\n";

FieldMarks &marks()
{
    return *platform().marks;
}

Validators &validators()
{
    return *platform().validators;
}

} // namespace

void AssignmentEntryTab::CheckEdits()
{
    guard(u"KORVA_AssignMaint.CheckEdits", [&] {
        m_errorText.clear();
        marks().ClearFieldError(txtBox[0]);
        marks().ClearFieldError(txtBox[1]);
        marks().ClearFieldError(txtBox[2]);
        // A combo's mark is not cleared here: it stays until ClearNewAssignment. Deliberate.
        auto fail = [this](QWidget *control, QStringView message, bool lineBreak) {
            marks().MarkFieldError(control, message.toString());
            m_errorText += message;
            if (lineBreak)
                m_errorText += kCrLf;
        };

        const QString number = txtBox[0]->text();
        if (!number.trimmed().isEmpty() && cboFTBox[1]->code().isEmpty())
            fail(cboFTBox[1], u"Reference Account Type must be selected from the list.", true);
        if (cboFTBox[1]->listIndex() >= 1 && number.isEmpty())
            fail(txtBox[0], u"Reference Account Number is required", true);
        if (!number.isEmpty()) {
            const QString trimmed = number.trimmed();
            const bool plainNumber =
                !trimmed.contains(u'-') && trimmed.size() <= 7 && IsNumeric(trimmed);
            if (!plainNumber && trimmed.contains(u'-')) {
                if (trimmed.size() > 9)
                    raiseOverflow();
                const QString padded = trimmed.rightJustified(9, u'0');
                const QString typeId = cboFTBox[1]->id();
                if (!typeId.trimmed().isEmpty()) {
                    const AccountCheck check = validators().ValidateAccountNumber(typeId, padded);
                    // These two messages end without a line break; later ones run on. Deliberate.
                    if (!check.valid)
                        fail(txtBox[0], check.message, false);
                }
            } else if (!plainNumber) {
                fail(txtBox[0], u"Account Number is Invalid", false);
            }
        }

        if (optButton[7]->isChecked()) {
            if (!officersListed()) {
                const QString officer = txtBox[1]->text().trimmed();
                if (!officer.isEmpty()) {
                    if (IsNumeric(officer))
                        m_officerTag = officer;
                    // A number no officer has, so that an empty tag fails the lookup below.
                    if (m_officerTag.trimmed().isEmpty())
                        m_officerTag = QStringLiteral("-123456");
                    if (!validators().ValidateOfficer(toInteger32(m_officerTag), today())) {
                        m_officerTag.clear();
                        fail(txtBox[1], u"Invalid officer number.", true);
                    }
                } else {
                    fail(txtBox[1], u"Invalid officer number.", true);
                }
            }
        } else if (optButton[9]->isChecked()) {
            if (txtBox[2]->text().trimmed().isEmpty())
                fail(txtBox[2], u"Assign to Troop/District is not valid.", true);
            else if (!CheckTroopAndDistrict())
                m_errorText += QStringLiteral("Assign to Troop/District is not valid.\r\n");
        } else if (optButton[8]->isChecked()) {
            if (cboFTBox[2]->text().trimmed().isEmpty() || cboFTBox[2]->code().trimmed().isEmpty())
                fail(cboFTBox[2], u"Assign to agency is not valid.", true);
        }

        const bool changed = m_dataChanged ? m_dataChanged() : isChanged();
        platform().host->notifyHost(7, m_errorText.isEmpty() && changed);
    });
}

void AssignmentEntryTab::SplitTroopDistrict()
{
    guard(u"KORVA_AssignMaint.SplitTroopDistrict", [&] {
        const QString text = txtBox[2]->text().trimmed();
        Troop = text.left(1);
        District = text.size() >= 2 ? text.mid(1) : QString();
    });
}

bool AssignmentEntryTab::CheckTroopAndDistrict()
{
    bool valid = false;
    guard(u"KORVA_AssignMaint.CheckTroopAndDistrict", [&] {
        SplitTroopDistrict();
        if (!District.trimmed().isEmpty())
            valid = validators().ValidateTroopDistrict(Troop, District);
        else if (!Troop.trimmed().isEmpty())
            valid = validators().ValidateTroop(Troop);
        if (valid)
            marks().ClearFieldError(txtBox[2]);
        else
            marks().MarkFieldError(txtBox[2],
                                   QStringLiteral("Assign to Troop/District is not valid."));
    });
    return valid;
}

// Compared field by field with what ClearNewAssignment leaves, the subject included; blanks
// alone are nothing entered.
bool AssignmentEntryTab::isChanged() const
{
    auto comboUsed = [](const KORVA_CodesCombo *combo) {
        return combo->listIndex() != 0 || !combo->text().trimmed().isEmpty();
    };
    auto boxUsed = [](const QLineEdit *box) {
        return !box->text().trimmed().isEmpty();
    };
    const QDate day = today();
    for (int i = 2; i <= 4; ++i) {
        if (dtpFTDate[i]->date() != day)
            return true;
    }
    return comboUsed(cboFTBox[0]) || comboUsed(cboFTBox[1]) || comboUsed(cboFTBox[2]) ||
           boxUsed(txtBox[0]) || boxUsed(txtBox[1]) || boxUsed(txtBox[2]) || boxUsed(txtBox[4]) ||
           !txtComment->toPlainText().trimmed().isEmpty() || !optButton[7]->isChecked();
}

void AssignmentEntryTab::ClearNewAssignment()
{
    // Each change below raises its handler as any change does, so the marks and the error text
    // left afterwards are those the last CheckEdits finds in the emptied entry.
    guard(u"KORVA_AssignMaint.ClearNewAssignment", [&] {
        cboFTBox[0]->clearSelection();
        marks().ClearFieldError(txtBox[0]);
        txtBox[0]->clear();
        marks().ClearFieldError(cboFTBox[1]);
        cboFTBox[1]->clearSelection();
        marks().ClearFieldError(txtBox[1]);
        txtBox[1]->clear();
        m_officerTag.clear();
        optButton[7]->setChecked(true);
        marks().ClearFieldError(cboFTBox[2]);
        cboFTBox[2]->clearSelection();
        marks().ClearFieldError(txtBox[2]);
        txtBox[2]->clear();
        dtpFTDate[2]->setValue(today());
        dtpFTDate[3]->setValue(dtpFTDate[2]->date());
        dtpFTDate[4]->setValue(dtpFTDate[2]->date());
        // Emptying an empty box is no change; the plain-text box would still report one.
        if (!txtComment->document()->isEmpty())
            txtComment->clear();
        // The subject is entry text like the comment: saved with it, emptied with it and
        // compared by isChanged.
        txtBox[4]->clear();
    });
}

} // namespace korva
