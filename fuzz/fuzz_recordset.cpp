// The record set's filter, sort and find parsers over a small typed set. Input: the filter,
// a newline, the sort, a newline, a find criterion. A malformed text throws ProcError; any
// other outcome (a crash, a view that lists a row twice) is a finding.
#include <platform/errors.h>
#include <platform/recordset.h>

#include <QDate>
#include <QSet>

#include <cstdint>
#include <cstdlib>

using namespace korva;

namespace {

RecordSetPtr sample()
{
    auto rs = RecordSet::create(QStringLiteral("ASSIGNMENT"),
                                {{QStringLiteral("ASGNMT_NBR"), FieldType::Integer},
                                 {QStringLiteral("CMMT"), FieldType::Text},
                                 {QStringLiteral("DUE_DT"), FieldType::Date},
                                 {QStringLiteral("AMT"), FieldType::Decimal},
                                 {QStringLiteral("TS"), FieldType::Timestamp}});
    for (int i = 0; i < 6; ++i)
        rs->appendStorageRow({qlonglong(i), i % 2 ? QVariant(QStringLiteral("a'b")) : QVariant(),
                              QDate(2026, 1, 1 + i), 12.5 * i,
                              QDateTime(QDate(2026, 2, 1), QTime(i, 0))});
    return rs;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QStringList parts =
        QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size)).split(u'\n');
    const RecordSetPtr rs = sample();
    try {
        rs->setFilter(parts.value(0));
    } catch (const ProcError &) {
    }
    try {
        rs->setSort(parts.value(1));
    } catch (const ProcError &) {
    }
    QSet<int> seen;
    for (int r = 0; r < rs->count(); ++r) {
        const int s = rs->storageIndex(r);
        if (s < 0 || s >= rs->storageCount() || seen.contains(s))
            std::abort();
        seen.insert(s);
        (void)rs->textAt(r, 1);
    }
    try {
        if (rs->findFirst(parts.value(2)) && rs->isEOF())
            std::abort();
    } catch (const ProcError &) {
    }
    return 0;
}
