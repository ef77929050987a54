// The small text parsers: citation numbers, account numbers of every form, date texts and
// officer names. Each must answer for any text, and agree with itself.
#include <common/modassignmaint.h>
#include <server/accountnumber.h>

#include <platform/datetext.h>

#include <cstdint>
#include <cstdlib>

using namespace korva;
using namespace korva::modAssignMaint;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    (void)IsCitationNumberValid(text);
    (void)server::checkAccountNumber(QStringLiteral("CITATION"), text);
    (void)server::checkAccountNumber(QStringLiteral("ACCOUNT"), text);
    (void)server::checkAccountNumber(QStringLiteral("TEXT"), text);
    (void)server::checkAccountNumber(text.left(12), text);
    const QDate d = parseDateText(text);
    // A date that parses prints as a date that parses to itself.
    if (d.isValid() && parseDateText(DB2Date(d)) != d)
        std::abort();
    const QStringList parts = text.split(u'|');
    (void)ProperName(parts.value(0), parts.value(1), parts.value(2), parts.value(3));
    return 0;
}
