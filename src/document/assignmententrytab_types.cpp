// The assignment-type lookup and the combo handlers that depend on it.
#include "assignmententrytab.h"

#include "common/modassignmaint.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

#include <QPushButton>

#include <cmath>

namespace korva {

namespace {

QString userRegion()
{
    return platform().user->region();
}

QString typeQuery(const QString &region)
{
    const QStringList pieces{QStringLiteral("Select "),
                             QStringLiteral("REGION"),
                             QStringLiteral(", ASGNMT_CD,"),
                             QStringLiteral(" ASGNMT_DES, CRTR_CLS_IND, DUE_DY_CNT,"),
                             QStringLiteral(" EXPRTN_DY_CNT, RSN_FOR_CHNG_TXT, SYS_IND"),
                             QStringLiteral(" From ZTB_ASGNMT_TYPE Where "),
                             QStringLiteral("REGION"),
                             QStringLiteral("='"),
                             region,
                             QStringLiteral("'"),
                             QStringLiteral(" Order By ASGNMT_DES")};
    return pieces.join(QString());
}

// A day count as the type table holds it: text, blank meaning none.
bool readDayCount(const RecordSet &row, QStringView field, qint16 &count)
{
    const QString text = row.text(field).trimmed();
    if (text.isEmpty())
        return false;
    count = toInteger16(numericValue(text));
    return true;
}

} // namespace

RecordSetPtr AssignmentEntryTab::assignmentTypes()
{
    if (!m_types) {
        const QString region = userRegion().trimmed().toUpper();
        RecordSetPtr rows = platform().codes->openQuery(typeQuery(region));
        if (!rows)
            raiseError(kErrRecordSet, QStringLiteral("The assignment types could not be read."));
        m_types = rows;
    }
    return m_types;
}

qint16 AssignmentEntryTab::dueDayCount() const
{
    return modAssignMaint::componentDayCounts().DueDayCount;
}

qint16 AssignmentEntryTab::expirationDayCount() const
{
    return modAssignMaint::componentDayCounts().ExpirationDayCount;
}

void AssignmentEntryTab::LoadTypeCombo()
{
    cboFTBox[0]->fillFromRecordSet(*assignmentTypes(), QStringLiteral("ASGNMT_CD"),
                                   QStringLiteral("ASGNMT_DES"));
}

void AssignmentEntryTab::FormatTypeCode(QString &code)
{
    // "00#": numeric codes get at least three digits ("7" is "007"); others stay as they are.
    if (IsNumeric(code)) {
        const long long value = std::llround(numericValue(code));
        const QString digits = QString::number(value < 0 ? -value : value);
        code = (value < 0 ? QStringLiteral("-") : QString()) + digits.rightJustified(3, u'0');
    }
    GetAdditionalInfoTxt(code);
}

void AssignmentEntryTab::GetAdditionalInfoTxt(const QString &code)
{
    guard(u"KORVA_AssignMaint.GetAdditionalInfoTxt", [&] {
        const RecordSetPtr types = assignmentTypes();
        modAssignMaint::TypeDayCounts &counts = modAssignMaint::componentDayCounts();
        counts.DueDayCount = 0;
        counts.ExpirationDayCount = 0;
        CreatorClosesOnly = false;
        const RecordSetPtr type = types->clone();
        type->setFilter(QStringLiteral("ASGNMT_CD='") + code + QLatin1Char('\''));
        if (type->count() > 0) {
            type->moveFirst();
            readDayCount(*type, u"DUE_DY_CNT", counts.DueDayCount);
            readDayCount(*type, u"EXPRTN_DY_CNT", counts.ExpirationDayCount);
            const QString closes = type->text(u"CRTR_CLS_IND").trimmed();
            if (closes == u"Y")
                CreatorClosesOnly = true;
            else if (closes == u"N")
                CreatorClosesOnly = false;
            SystemGenerated = type->text(u"SYS_IND").trimmed() == u"Y";
        } else {
            SystemGenerated = false;
        }
    });
}

void AssignmentEntryTab::cboFTBox_Change(int index)
{
    guard(u"KORVA_AssignMaint.cboFTBox_Change", [&] {
        if (index == 0) {
            if (!cboFTBox[0]->id().trimmed().isEmpty()) {
                QString code = cboFTBox[0]->code();
                FormatTypeCode(code);
            }
            dtpFTDate[2]->setValue(today());
            const QDate effective = dtpFTDate[2]->date();
            dtpFTDate[3]->setValue(effective.addDays(dueDayCount()));
            dtpFTDate[4]->setValue(effective.addDays(expirationDayCount()));
        } else if (index == 1) {
            setForwardButtonState();
        }
        CheckEdits();
    });
}

// The reference account type decides cmdButton(1) of the list tab; this coupling is how the
// screen has always behaved and is kept on purpose.
void AssignmentEntryTab::setForwardButtonState()
{
    if (m_forwardButton)
        m_forwardButton->setEnabled(!cboFTBox[1]->code().isEmpty());
}

void AssignmentEntryTab::cboFTBox_LostFocus(int index)
{
    guard(u"KORVA_AssignMaint.cboFTBox_LostFocus", [&] {
        if (index == 1)
            setForwardButtonState();
    });
}

void AssignmentEntryTab::cboFTBox_Validate(int index)
{
    guard(u"KORVA_AssignMaint.cboFTBox_Validate", [&] {
        if (index < 0 || index > 2)
            return;
        // Leaving any of the three combos without a valid choice puts the dates back to today.
        if (cboFTBox[index]->id().trimmed().isEmpty())
            setAllDatesToToday();
    });
}

} // namespace korva
