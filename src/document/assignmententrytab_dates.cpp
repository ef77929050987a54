// The date rules of the new-assignment tab.
#include "assignmententrytab.h"

#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/numbers.h"

namespace korva {

namespace {

QDate plusDays(const QDate &day, qint16 count)
{
    return day.isValid() ? day.addDays(count) : day;
}

} // namespace

void AssignmentEntryTab::CheckDates(int index)
{
    guard(u"KORVA_AssignMaint.CheckDates", [&] {
        // All three are read before any is corrected: the rules below work from the values
        // as the user left them, which is why the expiration follows the earlier due date.
        const QDate effective = dtpFTDate[2]->date();
        const QDate due = dtpFTDate[3]->date();
        const QDate expiration = dtpFTDate[4]->date();
        // The gap is a 16-bit count; a gap out of range is reported, not wrapped.
        auto gap = [this] {
            return toInteger16(double(expirationDayCount()) - dueDayCount());
        };
        switch (index) {
        case 2:
            if (today() < effective)
                dtpFTDate[2]->setValue(today());
            dtpFTDate[3]->setValue(plusDays(effective, dueDayCount()));
            dtpFTDate[4]->setValue(plusDays(due, gap()));
            break;
        case 3:
            if (due < effective)
                dtpFTDate[3]->setValue(effective);
            dtpFTDate[4]->setValue(plusDays(due, gap()));
            break;
        case 4:
            if (expiration < due)
                dtpFTDate[4]->setValue(due);
            break;
        default:
            break;
        }
    });
}

void AssignmentEntryTab::setAllDatesToToday()
{
    const QDate day = today();
    for (int i = 2; i <= 4; ++i)
        dtpFTDate[i]->setValue(day);
}

} // namespace korva
